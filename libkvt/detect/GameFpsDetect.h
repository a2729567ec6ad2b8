// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/StrongPointer.h>

#include <cstdint>
#include <string>

#include "detect/FpsDetector.h"
#include "detect/FpsMonitor.h"
#include "detect/GameFpsReporter.h"
#include "detect/GameRateListener.h"
#include "sync/Atomic.h"
#include "sync/Mutex.h"

namespace KVT {

/**
 * Measures the frame rate of the foreground game, and announces it: as a target to the AI
 * scheduler, as the detected rate to the armed strategy, and to the service for its listeners. They
 * hear nothing for the first 121 s of a game, then the highest rate so far, then every change.
 *
 * Frames come from one caller at a time; whatever only they touch has no lock. Everything else may
 * be called from any thread meanwhile. A result acts on the game it was measured in and on no
 * other: mGameMutex is held from the look at which game is in front to the end of what follows from
 * it, the call of the strategy included. None of its locks is held while the scheduler or the service is
 * called.
 */
class GameFpsDetect {
  public:
    static GameFpsDetect* GetInstance();
    GameFpsDetect(const GameFpsDetect&) = delete;
    GameFpsDetect& operator=(const GameFpsDetect&) = delete;

    /** Starts anew: a game came to the foreground. Takes hold of the frames at the next one. */
    void Clear() EXCLUDES(mGameMutex);

    /** From now on `listener`, which lives to the end, hears of every result. At start-up. */
    void SetRateListener(GameRateListener* listener) { mRateListener = listener; }
    /** From now on `service` tells the listeners. */
    void AttachService(const android::sp<GameFpsReporter>& service) EXCLUDES(mServiceMutex);

    /**
     * One frame of the game's layer; one call at a time.
     *
     * @param timestamp ns of the monotonic clock; any value is survived
     */
    void ProcessLayerTimeInfo(const std::string& layerName, int64_t timestamp) EXCLUDES(mGameMutex);

    /**
     * Announces one detected rate of the game that is in front now; one call at a time, and none
     * during the one above.
     */
    void SendTargetFps(const std::string& layerName, int32_t fps) EXCLUDES(mGameMutex);

    /** Tells the AI scheduler a target frame rate. A message that does not arrive is dropped. */
    void SendTargetFpsToAiSched(int32_t fps);

    /** The rate last announced; 0 when there is none yet. */
    int32_t GetCurrentFps() const { return mCurrentFps; }

  private:
    GameFpsDetect();
    ~GameFpsDetect() = default;

    void StartAnewIfCleared();
    /** Whether a new game has come to the foreground since the frames' side started anew. */
    bool IsOvertaken() const { return mGame.load(std::memory_order_relaxed) != mMeasuredGame; }
    /** Announces a rate of the measured game, as far as it is not overtaken. */
    void Announce(const std::string& layerName, int32_t fps) EXCLUDES(mGameMutex);
    /** Makes it the current rate. @return whether listeners are to hear of it now */
    bool TakeNote(int32_t detected) REQUIRES(mGameMutex);
    void ReportToListeners(int32_t detected);
    android::sp<GameFpsReporter> AttachedService() EXCLUDES(mServiceMutex);

    // 0: the level estimator's rate is announced, else the statistical one's.
    const int32_t mFpsMode;
    const bool mLogSwitch;

    // Set once, at start-up.
    GameRateListener* mRateListener = nullptr;

    // The frames' own.
    FpsMonitor mMonitor;
    FpsDetector mDetector;
    int64_t mLastTimestamp = 0;
    int32_t mMaxFps = 0;  // since the game started
    bool mMaxFpsReported = false;
    uint32_t mMeasuredGame = 0;  // which all of these are about

    /** After FpsCommon::decisionMutex, before a strategy's mutex. */
    Mutex mGameMutex;
    int64_t mGameStartNs GUARDED_BY(mGameMutex) = 0;
    // Written with mGameMutex held.
    Atomic<uint32_t> mGame{0};  // counts the games
    Atomic<int32_t> mCurrentFps{0};

    Mutex mServiceMutex;
    android::sp<GameFpsReporter> mService GUARDED_BY(mServiceMutex);
};

}  // namespace KVT

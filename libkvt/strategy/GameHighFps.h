// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/StrongPointer.h>

#include <cstdint>

#include "strategy/ForcedRate.h"
#include "sync/Condition.h"

namespace KVT {

/**
 * The strategy for games that are kept at a constant 90 Hz. It never touches the panel: when such a
 * game arrives at exactly 60 fps, the AI scheduler is asked for 90 for five seconds, so that it
 * gives the game room to climb.
 *
 * Any thread. The scheduler is told with the strategy's mutex held.
 */
class GameHighFps {
  public:
    static GameHighFps* GetInstance();

    /** Starts the check thread; once. @return the platform's status */
    int32_t StartCheckFpsThread();

    /** Arms the strategy for a game of which nothing is known yet. */
    void Set() EXCLUDES(mMutex);

    /** Disarms it and ends a boost. */
    void Reset() EXCLUDES(mMutex);

    /** @param fps the game's detected frame rate */
    void SetGameFps(int32_t fps) EXCLUDES(mMutex);

    /** One step of the check thread. */
    void CheckFps() EXCLUDES(mMutex);

  private:
    class CheckFpsThread;

    GameHighFps();
    ~GameHighFps();

    void RunBoost() REQUIRES(mMutex);
    void StoreGameFps(int32_t fps) REQUIRES(mMutex);

    Mutex mMutex;
    Condition mCond;
    int32_t mGameFps GUARDED_BY(mMutex) = 0;
    /** Counts the changes of mGameFps, so that a boost knows whether there were any. */
    uint32_t mGameFpsChanges GUARDED_BY(mMutex) = 0;
    /** The five seconds in which the scheduler is asked for more. */
    ForcedRate mBoost GUARDED_BY(mMutex);
    bool mIsActive GUARDED_BY(mMutex) = false;

    android::sp<CheckFpsThread> mCheckThread;
};

}  // namespace KVT

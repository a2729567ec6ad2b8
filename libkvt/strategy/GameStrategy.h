// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "sync/Condition.h"

namespace KVT {

/**
 * What the two game strategies share: they are armed for a game, hear its frame rate, and may force
 * a frame rate on the AI scheduler for five seconds, whatever the game shows.
 *
 * Any thread; the check step is the derived class's. The scheduler is told with the mutex held.
 */
class GameStrategy {
  public:
    GameStrategy(const GameStrategy&) = delete;
    GameStrategy& operator=(const GameStrategy&) = delete;

    /** Disarms it; a forced rate ends at once, and the panel stays as it is. */
    void Reset() EXCLUDES(mMutex);

    /** @param fps the game's detected frame rate */
    void SetGameFps(int32_t fps) EXCLUDES(mMutex);

  protected:
    /** A game that was not measured yet. */
    static constexpr int32_t kUnknownFps = 0;

    /** @param name as its lines in the log begin */
    explicit GameStrategy(const char* name) : mName(name) {}
    ~GameStrategy() = default;

    /** Arms it for a game of which nothing is known yet. */
    void Arm() REQUIRES(mMutex);

    /** Disarms it and ends every wait, now and from now on. */
    void Close() EXCLUDES(mMutex);

    struct Forced {
        /** Not ended by Reset(). */
        bool lasted;
        /** The game's rate changed meanwhile, if only for a while. */
        bool rateChanged;
    };
    /** Forces `fps` on the scheduler until something happens, five seconds at most. */
    Forced Force(int32_t fps) REQUIRES(mMutex);

    Mutex mMutex;
    Condition mCond;
    int32_t mGameFps GUARDED_BY(mMutex) = kUnknownFps;
    bool mIsActive GUARDED_BY(mMutex) = false;

  private:
    enum class ForcedState { kNone, kRunning, kRevoked };

    void RevokeForced() REQUIRES(mMutex);

    const char* const mName;
    /** Counts the changes of mGameFps. */
    uint32_t mGameFpsChanges GUARDED_BY(mMutex) = 0;
    ForcedState mForced GUARDED_BY(mMutex) = ForcedState::kNone;
};

}  // namespace KVT

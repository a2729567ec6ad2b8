// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/StrongPointer.h>

#include <cstdint>

#include "strategy/GameStrategy.h"

namespace KVT {

/**
 * The strategy for games that are kept at a constant 90 Hz. It never touches the panel: when such a
 * game arrives at exactly 60 fps, the AI scheduler is asked for 90 for five seconds, so that it
 * gives the game room to climb.
 *
 * Any thread. The scheduler is told with the strategy's mutex held.
 */
class GameHighFps : public GameStrategy {
  public:
    static GameHighFps* GetInstance();

    /** Starts the check thread; once. @return the platform's status */
    int32_t StartCheckFpsThread();

    /** Arms the strategy for a game of which nothing is known yet. */
    void Set() EXCLUDES(mMutex);

    /** One step of the check thread. */
    void CheckFps() EXCLUDES(mMutex);

  private:
    class CheckFpsThread;

    GameHighFps();
    ~GameHighFps();

    void RunBoost() REQUIRES(mMutex);

    android::sp<CheckFpsThread> mCheckThread;
};

}  // namespace KVT

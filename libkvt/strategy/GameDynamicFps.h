// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/String8.h>
#include <utils/StrongPointer.h>

#include <cstdint>

#include "strategy/GameStrategy.h"

namespace KVT {

class KVTGameSdkListener;
struct GameSdkReport;

/**
 * The strategy for games whose panel rate follows their frame rate: 90 Hz above 60 fps, 60 Hz below
 * 46 fps, and in between as it is. A game at exactly 60 fps on a panel at 60 Hz is given five
 * seconds at 90 Hz, with the AI scheduler told 90, to climb if it can.
 *
 * One game also reports its scene through the game SDK; while it is in the aeroplane at 90 fps, its
 * rate is looked at again.
 *
 * Any thread. The panel is set, and the scheduler told, with the strategy's mutex held.
 */
class GameDynamicFps : public GameStrategy {
  public:
    /** The first call registers with the game SDK, which may report before it has returned. */
    static GameDynamicFps* GetInstance();

    /** Starts the check thread; once. @return the platform's status */
    int32_t StartCheckFpsThread();

    /** Arms the strategy for a game of which nothing is known yet; the panel stays as it is. */
    void Set() EXCLUDES(mMutex);

    /** @param json the game SDK's report; anything that is not one is ignored */
    void UpdateGameSdkInfo(const android::String8& json) EXCLUDES(mMutex);

    /** One step of the check thread. */
    void CheckFps() EXCLUDES(mMutex);

  private:
    class CheckFpsThread;

    GameDynamicFps();
    ~GameDynamicFps();

    /** Registers unless that is done, or being done by another thread or further up on this one. */
    void RegisterWithSdk() EXCLUDES(mMutex);
    void RunTrial() REQUIRES(mMutex);
    void CheckPubgSdk(const GameSdkReport& report) REQUIRES(mMutex);

    /** The frame rate that the reporting game is set to. */
    int32_t mPubgFps GUARDED_BY(mMutex);
    bool mIsPubgAeroplane GUARDED_BY(mMutex) = false;
    const android::sp<KVTGameSdkListener> mGameSdkListener;
    bool mIsSdkRegistered GUARDED_BY(mMutex) = false;
    bool mIsSdkAsked GUARDED_BY(mMutex) = false;

    android::sp<CheckFpsThread> mCheckThread;
};

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "strategy/GameHighFps.h"

#include "common/Log.h"
#include "display/LcdFpsControl.h"
#include "strategy/CheckThread.h"

namespace KVT {
namespace {

/** A game that the scheduler holds back runs at exactly this rate. */
constexpr int32_t kBoostFromFps = 60;
constexpr int32_t kBoostToFps = 90;

}  // namespace

class GameHighFps::CheckFpsThread : public CheckThread<GameHighFps, &GameHighFps::CheckFps> {};

GameHighFps* GameHighFps::GetInstance() {
    static GameHighFps instance;
    return &instance;
}

GameHighFps::GameHighFps() : GameStrategy("GameHighFps"), mCheckThread(new CheckFpsThread) {}

GameHighFps::~GameHighFps() {
    mCheckThread->Stop([this] { Close(); });
}

int32_t GameHighFps::StartCheckFpsThread() {
    return mCheckThread->run("KVT::GameHighFps CheckFpsThread");
}

void GameHighFps::Set() {
    MutexLock lock(mMutex);
    Arm();
}

void GameHighFps::CheckFps() {
    MutexLock lock(mMutex);
    mCond.wait(mMutex);
    if (mIsActive && mGameFps == kBoostFromFps) {
        RunBoost();
    }
}

void GameHighFps::RunBoost() {
    KVT_LOGI("GameHighFps: send 90fps to sched 5s: start");
    const Cause before = LcdFpsControl::journal.last().cause;
    LcdFpsControl::journal.onCause({Cause::kBoost});
    const Forced boost = Force(kBoostToFps);
    if (boost.lasted) {
        LcdFpsControl::journal.onCause(before);
    }
    KVT_LOGI("GameHighFps: send 90fps to sched: end");
    if (boost.rateChanged && mGameFps == kBoostFromFps) {
        // The event that ended the boost may have stood for several: the rate left 60 and came
        // back.
        mCond.signal();
    }
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "strategy/GameHighFps.h"

#include "common/Log.h"
#include "common/Turn.h"
#include "detect/GameFpsDetect.h"
#include "strategy/CheckThread.h"
#include "sync/Clock.h"

namespace KVT {
namespace {

/** A game that the scheduler holds back runs at exactly this rate. */
constexpr int32_t kBoostFromFps = 60;
constexpr int32_t kBoostToFps = 90;
constexpr int64_t kBoostNs = 5 * kNsPerS;

}  // namespace

class GameHighFps::CheckFpsThread : public CheckThread<GameHighFps, &GameHighFps::CheckFps> {};

GameHighFps* GameHighFps::GetInstance() {
    static GameHighFps instance;
    return &instance;
}

GameHighFps::GameHighFps() : mCheckThread(new CheckFpsThread) {
    // The check thread uses it to the end, so it is to be destroyed later.
    GameFpsDetect::GetInstance();
}

GameHighFps::~GameHighFps() {
    mCheckThread->Stop([this] {
        Reset();
        MutexLock lock(mMutex);
        mCond.close();
    });
}

int32_t GameHighFps::StartCheckFpsThread() {
    return mCheckThread->run("KVT::GameHighFps CheckFpsThread");
}

void GameHighFps::Set() {
    MutexLock lock(mMutex);
    mIsActive = true;
    StoreGameFps(0);
    if (!mBoost.isPending()) {
        // What is pending was about the game before.
        mCond.clear();
    }
}

void GameHighFps::Reset() {
    MutexLock lock(mMutex);
    mIsActive = false;
    mBoost.revoke();
    mCond.signal();
}

void GameHighFps::SetGameFps(int32_t fps) {
    MutexLock lock(mMutex);
    if (fps == mGameFps) {
        return;
    }
    StoreGameFps(fps);
    mCond.signal();
    KVT_LOGI("GameHighFps: signal %dfps", fps);
}

void GameHighFps::StoreGameFps(int32_t fps) {
    mGameFps = fps;
    ++mGameFpsChanges;
}

void GameHighFps::CheckFps() {
    MutexLock lock(mMutex);
    mCond.wait(mMutex);
    if (mIsActive && mGameFps == kBoostFromFps) {
        RunBoost();
    }
}

void GameHighFps::RunBoost() {
    const uint32_t changesBefore = mGameFpsChanges;
    KVT_LOGI("GameHighFps: send 90fps to sched 5s: start");
    mBoost.begin(kBoostToFps);
    Turn::CatchUp(mMutex);

    (void)mCond.waitUntil(mMutex, MonotonicNow() + kBoostNs);

    (void)mBoost.end();
    KVT_LOGI("GameHighFps: send 90fps to sched: end");
    if (mGameFpsChanges != changesBefore && mGameFps == kBoostFromFps) {
        // The event that ended the boost may stand for several: the rate left 60 and came back.
        mCond.signal();
    }
}

}  // namespace KVT

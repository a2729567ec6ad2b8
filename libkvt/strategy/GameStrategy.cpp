// SPDX-License-Identifier: Apache-2.0
#include "strategy/GameStrategy.h"

#include "common/Codes.h"
#include "common/Log.h"
#include "common/Turn.h"
#include "peers/AiScheduler.h"
#include "state/PolicyState.h"
#include "sync/Clock.h"

namespace KVT {
namespace {

constexpr int64_t kForcedNs = 5 * kNsPerS;

}  // namespace

void GameStrategy::Arm() {
    mIsActive = true;
    mGameFps = kUnknownFps;
    ++mGameFpsChanges;
    if (mForced == ForcedState::kNone) {
        // What is pending was about the game before.
        mCond.clear();
    }
}

void GameStrategy::Reset() {
    MutexLock lock(mMutex);
    mIsActive = false;
    RevokeForced();
    mCond.signal();
}

void GameStrategy::Close() {
    Reset();
    MutexLock lock(mMutex);
    mCond.close();
}

void GameStrategy::SetGameFps(int32_t fps) {
    MutexLock lock(mMutex);
    if (fps == mGameFps) {
        return;
    }
    mGameFps = fps;
    ++mGameFpsChanges;
    mCond.signal();
    KVT_LOGI("%s: signal %dfps", mName, fps);
}

GameStrategy::Forced GameStrategy::Force(int32_t fps) {
    const uint32_t changesBefore = mGameFpsChanges;
    mForced = ForcedState::kRunning;
    PolicyState::forcedGameFps = fps;
    AiScheduler::GetInstance()->sendTarget(fps);
    Turn::CatchUp(mMutex);

    (void)mCond.waitUntil(mMutex, MonotonicNow() + kForcedNs);

    const bool lasted = mForced == ForcedState::kRunning;
    RevokeForced();
    mForced = ForcedState::kNone;
    return {lasted, mGameFpsChanges != changesBefore};
}

/**
 * Gives the rate back at once. Not left to the check thread: when that notices, another strategy
 * may have forced a rate of its own.
 */
void GameStrategy::RevokeForced() {
    if (mForced == ForcedState::kRunning) {
        mForced = ForcedState::kRevoked;
        PolicyState::forcedGameFps = kNoGameFps;
    }
}

}  // namespace KVT

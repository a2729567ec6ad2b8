// SPDX-License-Identifier: Apache-2.0
#include "strategy/ForcedRate.h"

#include "common/Codes.h"
#include "detect/GameFpsDetect.h"
#include "policy/FpsCommon.h"

namespace KVT {

void ForcedRate::begin(int32_t fps) {
    mState = State::kRunning;
    FpsCommon::forcedGameFps = fps;
    GameFpsDetect::GetInstance()->SendTargetFpsToAiSched(fps);
}

void ForcedRate::revoke() {
    if (mState == State::kRunning) {
        mState = State::kRevoked;
        FpsCommon::forcedGameFps = kNoGameFps;
    }
}

bool ForcedRate::end() {
    const bool lasted = mState == State::kRunning;
    if (lasted) {
        FpsCommon::forcedGameFps = kNoGameFps;
    }
    mState = State::kNone;
    return lasted;
}

}  // namespace KVT

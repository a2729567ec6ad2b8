// SPDX-License-Identifier: Apache-2.0
#include "detect/GameFpsDetect.h"

#include <cutils/properties.h>

#include <algorithm>
#include <cstdlib>

#include "common/Log.h"
#include "detect/FrameTime.h"
#include "peers/AiScheduler.h"
#include "state/PolicyState.h"
#include "sync/Clock.h"

namespace KVT {
namespace {

// A game that reaches 70 fps can make use of the high panel rate.
constexpr int32_t kHighFrom = 70;
constexpr int32_t kHighFps = 90;

// This racing game runs best when the scheduler aims a little below its 55 fps mode.
constexpr char kRacingGame[] = "com.racergame.cityracing3d";
constexpr int32_t kRacingLowest = 50;
constexpr int32_t kRacingHighest = 55;
constexpr int32_t kRacingTarget = 52;

// A game takes two minutes to show what it can do; listeners get no rate below 60.
constexpr int64_t kSilenceNs = 121 * kNsPerS;
constexpr int32_t kLowestReport = 60;

int32_t ReadFpsMode() {
    char value[PROPERTY_VALUE_MAX];
    property_get("persist.fps.mode", value, "1");
    return atoi(value) != 0 ? 1 : 0;
}

/** What to ask of the scheduler for a game that runs at `detected`. */
int32_t TargetFor(const std::string& layerName, int32_t detected) {
    int32_t target = detected;
    if (detected >= kRacingLowest && detected <= kRacingHighest &&
        layerName.find(kRacingGame) != std::string::npos) {
        target = kRacingTarget;
    }
    const int32_t limit = PolicyState::limitedGameFps;
    if (limit >= 1 && limit <= target) {
        return limit;
    }
    const int32_t forced = PolicyState::forcedGameFps;
    return forced >= 1 ? forced : target;
}

}  // namespace

GameFpsDetect* GameFpsDetect::GetInstance() {
    // Never destroyed: check threads and binder threads use it until the very end.
    static auto* const instance = new GameFpsDetect;
    return instance;
}

GameFpsDetect::GameFpsDetect()
    : mFpsMode(ReadFpsMode()),
      mLogSwitch(property_get_bool("persist.dynamicfps.logswitch", false)) {}

void GameFpsDetect::Clear() {
    MutexLock lock(mGameMutex);
    mGameStartNs = MonotonicNow();
    mCurrentFps = 0;
    ++mGame;
}

/** Does, on the frames' side, what Clear() asked for. */
void GameFpsDetect::StartAnewIfCleared() {
    const uint32_t game = mGame.load(std::memory_order_relaxed);
    if (game == mMeasuredGame) {
        return;
    }
    mMeasuredGame = game;
    mMonitor.Clear();
    mDetector.Clear();
    mMaxFps = 0;
    mMaxFpsReported = false;
}

void GameFpsDetect::AttachService(const android::sp<GameFpsReporter>& service) {
    android::sp<GameFpsReporter> previous = service;  // released without the lock
    MutexLock lock(mServiceMutex);
    std::swap(mService, previous);
}

android::sp<GameFpsReporter> GameFpsDetect::AttachedService() {
    MutexLock lock(mServiceMutex);
    return mService;
}

void GameFpsDetect::ProcessLayerTimeInfo(const std::string& layerName, int64_t timestamp) {
    StartAnewIfCleared();
    const int64_t frameLen = TimeBetween(mLastTimestamp, timestamp);
    mLastTimestamp = timestamp;
    const bool detectorReady = mDetector.UpdateFps(frameLen);
    const bool monitorReady = mMonitor.UpdateFps(frameLen);
    if (!(mFpsMode == 0 ? detectorReady : monitorReady) || IsOvertaken()) {
        return;
    }
    if (mLogSwitch) {
        KVT_LOGI("GameFpsDetect: fps %d AI %d", mMonitor.GetDetectedFps(),
                 mDetector.GetDetectedFps());
    }
    Announce(layerName, mFpsMode == 0 ? mDetector.GetDetectedFps() : mMonitor.GetDetectedFps());
}

void GameFpsDetect::SendTargetFps(const std::string& layerName, int32_t fps) {
    StartAnewIfCleared();
    Announce(layerName, fps);
}

void GameFpsDetect::Announce(const std::string& layerName, int32_t fps) {
    const int32_t detected = fps >= kHighFrom ? kHighFps : fps;
    SendTargetFpsToAiSched(TargetFor(layerName, detected));

    bool report = false;
    {
        MutexLock lock(mGameMutex);
        report = !IsOvertaken() && TakeNote(detected);
    }
    if (report) {
        ReportToListeners(detected);
    }
    MutexLock lock(mGameMutex);
    if (!IsOvertaken()) {
        if (mRateListener != nullptr) {
            mRateListener->onGameRate(detected);
        }
    }
}

bool GameFpsDetect::TakeNote(int32_t detected) {
    const bool changed = detected != mCurrentFps;
    if (changed) {
        mCurrentFps = detected;
        KVT_LOGI("GameFpsDetect: fps changed to %dfps", detected);
        mMaxFps = std::max(mMaxFps, detected);
    }
    return mMaxFpsReported ? changed : MonotonicNow() - mGameStartNs >= kSilenceNs;
}

void GameFpsDetect::ReportToListeners(int32_t detected) {
    if (const auto service = AttachedService(); service != nullptr) {
        service->ReportGameFps(std::max(mMaxFpsReported ? detected : mMaxFps, kLowestReport));
        mMaxFpsReported = true;
    }
}

void GameFpsDetect::SendTargetFpsToAiSched(int32_t fps) {
    AiScheduler::GetInstance()->sendTarget(fps);
}

}  // namespace KVT

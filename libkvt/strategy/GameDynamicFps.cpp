// SPDX-License-Identifier: Apache-2.0
#include "strategy/GameDynamicFps.h"

#include <atomic>
#include <optional>

#include "common/Codes.h"
#include "common/Log.h"
#include "common/Turn.h"
#include "detect/GameFpsDetect.h"
#include "display/LcdFpsControl.h"
#include "service/KVTGameSdkListener.h"
#include "strategy/CheckThread.h"
#include "strategy/GameSdkReport.h"
#include "strategy/LcdFpsMonitor.h"
#include "sync/Clock.h"

namespace KVT {
namespace {

/** Up above this game rate, down below the other; between them the panel stays as it is. */
constexpr int32_t kUpAboveFps = 60;
constexpr int32_t kDownBelowFps = 46;

/** Of a game that was not measured yet. */
constexpr int32_t kUnknownFps = 0;

/** A game held back by a 60 Hz panel runs at exactly this rate. */
constexpr int32_t kTrialFps = 60;
constexpr int64_t kTrialNs = 5 * kNsPerS;

/** The one game whose reports are acted on. */
constexpr char kReportingPackage[] = "com.tencent.tmgp.pubgmhd";
constexpr int32_t kDefaultPubgFps = 30;
constexpr int32_t kAeroplaneScene = 101;
constexpr int32_t kAeroplaneFps = 90;

/** For that game, the keys of GameSdkReport. */
constexpr char kSubscription[] = "RES:com.tencent.tmgp.pubgmhd->pkg|1|10";

}  // namespace

class GameDynamicFps::CheckFpsThread
    : public CheckThread<GameDynamicFps, &GameDynamicFps::CheckFps> {};

GameDynamicFps* GameDynamicFps::GetInstance() {
    static GameDynamicFps instance;
    // Not in the constructor: a report that comes meanwhile needs the instance.
    static std::atomic<bool> used{false};
    if (!used.exchange(true)) {
        instance.RegisterWithSdk();
    }
    return &instance;
}

GameDynamicFps::GameDynamicFps()
    : mPubgFps(kDefaultPubgFps),
      mGameSdkListener(new KVTGameSdkListener),
      mCheckThread(new CheckFpsThread) {
    // The check thread uses them to the end, so they are to be destroyed later.
    GameFpsDetect::GetInstance();
    LcdFpsMonitor::GetInstance();
}

GameDynamicFps::~GameDynamicFps() {
    mCheckThread->Stop([this] {
        Reset();
        MutexLock lock(mMutex);
        mCond.close();
    });
}

int32_t GameDynamicFps::StartCheckFpsThread() {
    return mCheckThread->run("KVT::GameDynamicFps CheckFpsThread");
}

void GameDynamicFps::RegisterWithSdk() {
    {
        MutexLock lock(mMutex);
        if (mIsSdkRegistered || mIsSdkAsked) {
            return;
        }
        mIsSdkAsked = true;
    }
    const bool registered = mGameSdkListener->RegisterGameSdkCallback(kSubscription);
    MutexLock lock(mMutex);
    mIsSdkRegistered = registered;
    mIsSdkAsked = false;
}

void GameDynamicFps::Set() {
    Arm();
    RegisterWithSdk();
}

void GameDynamicFps::Arm() {
    MutexLock lock(mMutex);
    mIsActive = true;
    mIsPubgAeroplane = false;
    StoreGameFps(kUnknownFps);
    mPubgFps = kDefaultPubgFps;
    if (!mTrial.isPending()) {
        // What is pending was about the game before.
        mCond.clear();
    }
}

void GameDynamicFps::Reset() {
    MutexLock lock(mMutex);
    mIsActive = false;
    mTrial.revoke();
    mCond.signal();
}

void GameDynamicFps::SetGameFps(int32_t fps) {
    MutexLock lock(mMutex);
    if (fps == mGameFps) {
        return;
    }
    StoreGameFps(fps);
    mCond.signal();
    KVT_LOGI("GameDynamicFps: signal %dfps", fps);
}

void GameDynamicFps::StoreGameFps(int32_t fps) {
    mGameFps = fps;
    ++mGameFpsChanges;
}

void GameDynamicFps::UpdateGameSdkInfo(const android::String8& json) {
    const std::optional<GameSdkReport> report = GameSdkReport::Parse({json.string(), json.size()});
    if (!report || report->pkg != kReportingPackage) {
        return;
    }
    MutexLock lock(mMutex);
    CheckPubgSdk(*report);
}

void GameDynamicFps::CheckPubgSdk(const GameSdkReport& report) {
    mPubgFps = report.fps.value_or(mPubgFps);
    if (!report.scene) {
        return;
    }
    if (*report.scene != kAeroplaneScene) {
        mIsPubgAeroplane = false;
    } else if (mPubgFps != kAeroplaneFps) {
        KVT_LOGI("GameDynamicFps: %dfps Pubg On Aeroplane, not check fps", mPubgFps);
    } else if (!mIsPubgAeroplane) {
        mIsPubgAeroplane = true;
        KVT_LOGI("GameDynamicFps: 90fps Pubg On Aeroplane, will check fps");
        mCond.signal();
    }
}

void GameDynamicFps::CheckFps() {
    MutexLock lock(mMutex);
    mCond.wait(mMutex);
    if (!mIsActive) {
        return;
    }
    if (mGameFps > kUpAboveFps && LcdFpsControl::GetCurrentLcdFps() == kLowHz) {
        LcdFpsControl::SetLcdFps(kHighHz);
        KVT_LOGI("GameDynamicFps: set lcd to 90Hz");
    } else if (mGameFps < kDownBelowFps && LcdFpsControl::GetCurrentLcdFps() == kHighHz) {
        LcdFpsControl::SetLcdFps(kLowHz);
        KVT_LOGI("GameDynamicFps: set lcd to 60Hz");
    } else if (mGameFps == kTrialFps && LcdFpsControl::GetCurrentLcdFps() == kLowHz) {
        RunTrial();
    }
}

void GameDynamicFps::RunTrial() {
    const uint32_t changesBefore = mGameFpsChanges;
    LcdFpsControl::SetLcdFps(kHighHz);
    KVT_LOGI("GameDynamicFps: set lcd to 90Hz 5s");
    mTrial.begin(kHighHz);
    Turn::CatchUp(mMutex);

    (void)mCond.waitUntil(mMutex, MonotonicNow() + kTrialNs);

    const bool lasted = mTrial.end();
    if (lasted && mGameFps <= kUpAboveFps) {
        LcdFpsControl::SetLcdFps(kLowHz);
        KVT_LOGI("GameDynamicFps: set lcd to 60Hz back after 5s");
    }
    // The event that ended the trial may have stood for several: a rate that left 60 and came back,
    // or that of the next game, if it is known by now, has not been looked at yet.
    const bool isDue = lasted ? mGameFps == kTrialFps : mGameFps != kUnknownFps;
    if (isDue && mGameFpsChanges != changesBefore) {
        mCond.signal();
    }
}

}  // namespace KVT

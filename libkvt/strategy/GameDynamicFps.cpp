// SPDX-License-Identifier: Apache-2.0
#include "strategy/GameDynamicFps.h"

#include <atomic>
#include <optional>

#include "common/Codes.h"
#include "common/Log.h"
#include "display/LcdFpsControl.h"
#include "peers/IKoraCallback.h"
#include "peers/KVTGameSdkListener.h"
#include "strategy/CheckThread.h"
#include "strategy/GameSdkReport.h"

namespace KVT {
namespace {

/** Up above this game rate, down below the other; between them the panel stays as it is. */
constexpr int32_t kUpAboveFps = 60;
constexpr int32_t kDownBelowFps = 46;

/** A game held back by a 60 Hz panel runs at exactly this rate. */
constexpr int32_t kTrialFps = 60;

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
    if (!used && !used.exchange(true)) {
        instance.RegisterWithSdk();
    }
    return &instance;
}

GameDynamicFps::GameDynamicFps()
    : GameStrategy("GameDynamicFps"),
      mPubgFps(kDefaultPubgFps),
      mGameSdkListener(new KVTGameSdkListener),
      mCheckThread(new CheckFpsThread) {
    BnKoraCallback::SetReceiver([](const android::String8& report) {
        GameDynamicFps::GetInstance()->UpdateGameSdkInfo(report);
    });
}

GameDynamicFps::~GameDynamicFps() {
    mCheckThread->Stop([this] { Close(); });
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
    {
        MutexLock lock(mMutex);
        Arm();
        mIsPubgAeroplane = false;
        mPubgFps = kDefaultPubgFps;
    }
    RegisterWithSdk();
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
        LcdFpsControl::SetLcdFps(kHighHz, {Cause::kClimb});
        KVT_LOGI("GameDynamicFps: set lcd to 90Hz");
    } else if (mGameFps < kDownBelowFps && LcdFpsControl::GetCurrentLcdFps() == kHighHz) {
        LcdFpsControl::SetLcdFps(kLowHz, {Cause::kFall});
        KVT_LOGI("GameDynamicFps: set lcd to 60Hz");
    } else if (mGameFps == kTrialFps && LcdFpsControl::GetCurrentLcdFps() == kLowHz) {
        RunTrial();
    }
}

void GameDynamicFps::RunTrial() {
    LcdFpsControl::SetLcdFps(kHighHz, {Cause::kTrial});
    KVT_LOGI("GameDynamicFps: set lcd to 90Hz 5s");
    const Forced trial = Force(kHighHz);
    if (trial.lasted && mGameFps <= kUpAboveFps) {
        LcdFpsControl::SetLcdFps(kLowHz, {Cause::kTrialOver});
        KVT_LOGI("GameDynamicFps: set lcd to 60Hz back after 5s");
    } else if (trial.lasted) {
        LcdFpsControl::journal.onCause({Cause::kClimb});
    }
    // The event that ended the trial may have stood for several: a rate that left 60 and came back,
    // or that of the next game, if it is known by now, has not been looked at yet.
    const bool isDue = trial.lasted ? mGameFps == kTrialFps : mGameFps != kUnknownFps;
    if (isDue && trial.rateChanged) {
        mCond.signal();
    }
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
// Which package is in front, and the decision that follows.
#include <algorithm>

#include "common/Log.h"
#include "detect/GameFpsDetect.h"
#include "display/LcdFpsControl.h"
#include "policy/FpsCommon.h"
#include "policy/KnownPackages.h"
#include "strategy/AppDynamicFps.h"
#include "strategy/GameDynamicFps.h"
#include "strategy/GameHighFps.h"

namespace KVT {
namespace {

constexpr int32_t kPackagesHeldByTest = 2;

}  // namespace

void FpsCommon::OnPackageInfoReceived(const std::string& focus,
                                      const std::unordered_set<std::string>& visible) {
    MutexLock lock(decisionMutex);
    focusApp = focus;
    visibleAppSet = visible;
    OnPackageInfoUpateLocked(focusApp, visibleAppSet, foreground);
}

void FpsCommon::OnPackageInfoUpate(const std::string& focus,
                                   const std::unordered_set<std::string>& visible,
                                   const std::string& current) {
    MutexLock lock(decisionMutex);
    OnPackageInfoUpateLocked(focus, visible, current);
}

void FpsCommon::OnPackageInfoUpateLocked(const std::string& focus,
                                         const std::unordered_set<std::string>& visible,
                                         const std::string& current) {
    underMultiAppStatus = 0;
    if (visible.empty() || IsGame(focus)) {
        return DoWithPackageUpdateLocked(focus);
    }
    const std::string* game = nullptr;
    int games = 0;
    bool currentIsVisibleGame = false;
    for (const std::string& pkg : visible) {
        if (IsGame(pkg)) {
            game = &pkg;
            ++games;
            currentIsVisibleGame = currentIsVisibleGame || pkg == current;
        }
    }
    if (games > 0) {
        // A game stays in front while it is visible, even when something else has the focus.
        if (!currentIsVisibleGame) {
            DoWithPackageUpdateLocked(games == 1 ? *game : focus);
        }
        return;
    }
    if (tables.multiAppLcdFpsSwitch) {
        underMultiAppStatus = 2;
    } else if (CodesDiffer(focus, visible)) {
        underMultiAppStatus = 1;
    }
    DoWithPackageUpdateLocked(focus);
}

bool FpsCommon::CodesDiffer(const std::string& focus,
                            const std::unordered_set<std::string>& visible) {
    const int32_t reference = GetAppCode(focus, GetPkgTypeByICMSManager(focus));
    return std::any_of(visible.begin(), visible.end(), [reference](const std::string& pkg) {
        return GetAppCode(pkg, GetPkgTypeByICMSManager(pkg)) != reference;
    });
}

void FpsCommon::OnGameExitReceived(const std::string& pkg, int32_t state) {
    MutexLock lock(decisionMutex);
    if (state != 0 || !IsGame(pkg) || visibleAppSet.count(pkg) == 0 || IsGame(focusApp)) {
        return;
    }
    visibleAppSet.erase(pkg);
    OnPackageInfoUpateLocked(focusApp, visibleAppSet, foreground);
}

void FpsCommon::DoWithPackageUpdate(const std::string& pkg) {
    MutexLock lock(decisionMutex);
    DoWithPackageUpdateLocked(pkg);
}

void FpsCommon::DoWithPackageUpdateLocked(const std::string& pkg) {
    KVT_LOGI("aps-info: new pkgName - %s", pkg.c_str());
    const bool changed = pkg != foreground;
    if (changed) {
        foreground = pkg;
        LcdFpsControl::stats.onPackage(foreground);
        MutexLock lock(pkgMutex);
        currentPkgName = foreground;
        ++foregroundChanges;  // last: who has seen the new count must not find the old package
    }
    if (switchAll != 0) {
        // Detection still wants to know what is in front; the panel is none of its business.
        if (changed) {
            ForeAppSwitchToGameLocked();
        }
        return;
    }
    if (changed) {
        underWechatVideoScene = false;
        gpuCompositionStatus = 0;
        gpuCompositionCount = 0;
        underFullVideoScene = false;
        ctsTestCount = IsCompatibilityTest(foreground) ? kPackagesHeldByTest
                                                       : std::max(ctsTestCount.load() - 1, 0);
        ForeAppSwitchToGameLocked();
        NotifyNewAppOpenedToSF(gameScene ? 0 : 1);
        BindVipCpus();
    }
    DecideUnlessFingerprintLocked();
}

void FpsCommon::ForeAppSwitchToGame() {
    MutexLock lock(decisionMutex);
    ForeAppSwitchToGameLocked();
}

void FpsCommon::ForeAppSwitchToGameLocked() {
    const int32_t type = GetPkgTypeByICMSManager(foreground);
    const bool isGame = type == kTypeGame;
    if (isGame) {
        GameFpsDetect::GetInstance()->Clear();
        limitedGameFps = kNoGameFps;
        forcedGameFps = kNoGameFps;
    }
    gameAppStart = isGame;
    gameScene = isGame;
    if (isGame) {
        KVT_LOGI("fpscommon: this is game");
    } else {
        KVT_LOGI("fpscommon: this is non game, type %d", type);
    }
}

void FpsCommon::DoWithForeAppSwitch() {
    MutexLock lock(decisionMutex);
    DecideUnlessFingerprintLocked();
}

void FpsCommon::DoWithForeAppSwitchInternal() {
    MutexLock lock(decisionMutex);
    DecideAndApplyLocked();
}

Decision FpsCommon::Decide() {
    MutexLock lock(decisionMutex);
    return DecideLocked();
}

void FpsCommon::DecideUnlessFingerprintLocked() {
    if (fingerprintStatus == 0) {
        DecideAndApplyLocked();
    }
}

Decision FpsCommon::DecideLocked() {
    if (const std::optional<Decision> scene = DecideByScene(TakeSnapshot()); scene.has_value()) {
        return *scene;
    }
    const int32_t type = GetPkgTypeByICMSManager(foreground);
    return type == kTypeGame ? DecideGame(GetGameCode(foreground))
                             : DecideApp(GetAppCode(foreground, type));
}

void FpsCommon::DecideAndApplyLocked() {
    const Decision decision = DecideLocked();
    decisions.add(foreground, decision);
    Apply(decision);
}

void FpsCommon::Apply(const Decision& decision) {
    switch (decision.outcome) {
        case Outcome::kHold:
        case Outcome::kGameFixed:
        case Outcome::kGameConstHigh:
        case Outcome::kGameDynamic:
            ResetAppStrategy();
            ResetGameStrategy();
            break;
        case Outcome::kAppFixed:
            ResetGameStrategy();
            ResetAppStrategy();
            break;
        case Outcome::kAppDynamic:
            ResetGameStrategy();
            break;
    }
    if (decision.rate != kRateUntouched) {
        LcdFpsControl::SetLcdFps(decision.rate);
    }
    switch (decision.outcome) {
        case Outcome::kGameConstHigh:
            return SetGameConstHighStrategy();
        case Outcome::kGameDynamic:
            return SetGameDynamicStrategy();
        case Outcome::kAppDynamic:
            return SetAppStrategy();
        default:
            return;
    }
}

void FpsCommon::SetAppStrategy() {
    appDynamicSwitch = true;
    NotifyAppDynamicFpsModeToSF(true);
}

void FpsCommon::ResetAppStrategy() {
    appDynamicSwitch = false;
    AppDynamicFps::GetInstance()->Reset();
    NotifyAppDynamicFpsModeToSF(false);
}

void FpsCommon::SetGameDynamicStrategy() {
    gameDynamicSwitch = true;
    GameDynamicFps::GetInstance()->Set();
}

void FpsCommon::SetGameConstHighStrategy() {
    gameConst90Switch = true;
    GameHighFps::GetInstance()->Set();
}

void FpsCommon::ResetGameStrategy() {
    gameDynamicSwitch = false;
    GameDynamicFps::GetInstance()->Reset();
    gameConst90Switch = false;
    GameHighFps::GetInstance()->Reset();
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
// Which package is in front.
#include <algorithm>

#include "common/CleanText.h"
#include "common/Codes.h"
#include "common/KnownPackages.h"
#include "common/Log.h"
#include "detect/GameFpsDetect.h"
#include "display/LcdFpsControl.h"
#include "policy/FpsCommon.h"

namespace KVT {
namespace {

constexpr int32_t kPackagesHeldByTest = 2;

}  // namespace

std::string FpsCommon::focusApp = kLauncher;
std::unordered_set<std::string> FpsCommon::visibleAppSet;

void FpsCommon::OnPackageInfoReceived(const std::string& focus,
                                      const std::unordered_set<std::string>& visible) {
    Event event(focus, visible);
    if (event.isOvertaken()) {
        return;
    }
    focusApp = focus;
    visibleAppSet = visible;
    isChosenFromShown = true;
    OnPackageInfoUpateInEvent(focusApp, visibleAppSet, Foreground());
}

void FpsCommon::OnPackageInfoUpate(const std::string& focus,
                                   const std::unordered_set<std::string>& visible,
                                   const std::string& current) {
    Event event(focus, visible);
    if (event.isOvertaken()) {
        return;
    }
    isChosenFromShown = focus == focusApp && visible == visibleAppSet;
    OnPackageInfoUpateInEvent(focus, visible, current);
}

void FpsCommon::OnPackageInfoUpateInEvent(const std::string& focus,
                                          const std::unordered_set<std::string>& visible,
                                          const std::string& current) {
    if (const std::string* chosen = ChooseForeground(focus, visible, current); chosen != nullptr) {
        DoWithPackageUpdateInEvent(*chosen);
    }
}

const std::string* FpsCommon::ChooseForeground(const std::string& focus,
                                               const std::unordered_set<std::string>& visible,
                                               const std::string& current) {
    underMultiAppStatus = 0;
    if (visible.empty() || IsGame(focus)) {
        return &focus;
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
        return currentIsVisibleGame ? nullptr : games == 1 ? game : &focus;
    }
    if (tables.multiAppLcdFpsSwitch) {
        underMultiAppStatus = 2;
    } else if (CodesDiffer(focus, visible)) {
        underMultiAppStatus = 1;
    }
    return &focus;
}

bool FpsCommon::ChooseAgain() {
    const std::string* chosen = ChooseForeground(focusApp, visibleAppSet, Foreground());
    if (chosen == nullptr || *chosen == Foreground()) {
        return false;
    }
    DoWithPackageUpdateInEvent(*chosen);
    return true;
}

bool FpsCommon::CodesDiffer(const std::string& focus,
                            const std::unordered_set<std::string>& visible) {
    const int32_t reference = AppCodeOf(focus);
    for (const std::string& pkg : visible) {
        if (AppCodeOf(pkg) != reference) {
            return true;
        }
    }
    return false;
}

void FpsCommon::OnGameExitReceived(const std::string& pkg, int32_t state) {
    if (state != 0) {
        return;
    }
    Event event;
    event.ask(pkg);
    if (!IsGame(pkg) || visibleAppSet.count(pkg) == 0) {
        return;
    }
    event.askShown();
    if (IsGame(focusApp) || visibleAppSet.erase(pkg) == 0) {
        return;
    }
    isChosenFromShown = true;
    OnPackageInfoUpateInEvent(focusApp, visibleAppSet, Foreground());
}

void FpsCommon::DoWithPackageUpdate(const std::string& pkg) {
    Event event(pkg, {});
    if (event.isOvertaken()) {
        return;
    }
    isChosenFromShown = false;
    DoWithPackageUpdateInEvent(pkg);
}

void FpsCommon::DoWithPackageUpdateInEvent(const std::string& pkg) {
    KVT_LOGI("aps-info: new pkgName - %s", CleanText(pkg).c_str());
    const bool changed = pkg != Foreground();
    if (changed) {
        LcdFpsControl::OnPackage(pkg);
        SetCurrentPkgName(pkg);
    }
    if (switchAll != 0) {
        // Detection still wants to know what is in front; the panel is none of its business.
        if (changed) {
            FollowGame();
        }
        return;
    }
    if (changed) {
        underWechatVideoScene = false;
        gpuCompositionStatus = 0;
        gpuCompositionCount = 0;
        underFullVideoScene = false;
        ctsTestCount = IsCompatibilityTest(Foreground()) ? kPackagesHeldByTest
                                                         : std::max(ctsTestCount.load() - 1, 0);
        FollowGame();
    }
    RunDecision(kUnlessUnlocking);
}

void FpsCommon::FollowGame() {
    ForeAppSwitchToGameInEvent();
    if (switchAll == 0) {
        NotifyNewAppOpenedToSF(gameScene ? 0 : 1);
        BindVipCpus();
    }
}

void FpsCommon::ForeAppSwitchToGame() {
    Event event;
    event.ask(Foreground());
    ForeAppSwitchToGameInEvent();
}

void FpsCommon::ForeAppSwitchToGameInEvent() {
    const int32_t type = TypeOf(Foreground());
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

}  // namespace KVT

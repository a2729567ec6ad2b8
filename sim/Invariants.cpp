// SPDX-License-Identifier: Apache-2.0
#include "sim/Invariants.h"

#include <algorithm>
#include <utility>

#include "common/Codes.h"
#include "common/KnownPackages.h"
#include "common/RememberedPackages.h"
#include "display/LcdFpsControl.h"
#include "policy/FpsCommon.h"
#include "sim/fakes/FakePhone.h"

namespace KVT::sim {
namespace {

/** The scene inputs as the decision sees them. */
PolicySnapshot Scenes() {
    PolicySnapshot scenes = FpsCommon::TakeSceneInputs();
    MutexLock lock(FpsCommon::codeCacheMutex);
    scenes.gpuCompositionCountLimit = FpsCommon::tables.gpuCompositionCountLimit;
    return scenes;
}

}  // namespace

template <typename... Values>
void Invariants::require(bool holds, const char* rule, const Values&... values) {
    if (holds) {
        return;
    }
    std::ostringstream text;
    text << rule << ":";
    bool isName = true;
    ((text << (std::exchange(isName, !isName) ? " " : "=") << values), ...);
    mBroken.push_back(text.str());
}

Invariants::Invariants(FakePhone& phone) : mPhone(phone), mBefore(look()) {}

void Invariants::onPeerFault() {
    mPeersAreGood = false;
    mPanelFollows = false;
    mBefore.requests = mPhone.panel->requests().size();  // a change before it proves nothing
}

Invariants::Look Invariants::look() const {
    return {Scenes(), FpsCommon::foregroundChanges, LcdFpsControl::stats.totals().failures,
            mPhone.panel->requests().size()};
}

std::vector<std::string> Invariants::violated(Lately lately) {
    const Look now = lookBetweenEvents(lately);
    if (mPeersAreGood) {
        checkPeers();
    }
    mBefore = now;
    return std::exchange(mBroken, {});
}

/** No event is in progress meanwhile, nor a change of the panel: in the middle nothing need hold. */
Invariants::Look Invariants::lookBetweenEvents(Lately lately) {
    MutexLock lock(FpsCommon::decisionMutex);
    LcdFpsControl::GetLastLcdFps();  // waits for a strategy's change
    const Look now = look();
    if (const auto records = FpsCommon::decisions.since(mLast.has_value() ? mLast->number : 0);
        !records.empty()) {
        mLast = records.back();
    }
    checkStrategies(lately);
    checkRequest(now);
    checkPanel(now);
    if (lately == Lately::kOneEvent && FpsCommon::switchAll == 0) {
        checkPackage(now);
    }
    checkMemory();
    return now;
}

/** The armed strategy is the last decision's; a boost is a game strategy's, and ends. */
void Invariants::checkStrategies(Lately lately) {
    const bool app = FpsCommon::appDynamicSwitch;
    const bool game = FpsCommon::gameDynamicSwitch;
    const bool high = FpsCommon::gameConst90Switch;
    require(app + game + high <= 1, "several strategies are armed", "app", app, "game", game,
            "const_high", high);
    const auto decided = [this](Outcome outcome) {
        return mLast.has_value() && mLast->decision.outcome == outcome;
    };
    require(app == decided(Outcome::kAppDynamic) && game == decided(Outcome::kGameDynamic) &&
                high == decided(Outcome::kGameConstHigh),
            "the armed strategy is not the last decision's", "armed", FpsCommon::ArmedStrategy(),
            "decided", mLast.has_value() ? NameOf(mLast->decision.outcome) : "nothing");
    const int32_t forced = FpsCommon::forcedGameFps;
    const bool mayForce = (game || high) && lately != Lately::kNothing;
    require(forced == kNoGameFps || (mayForce && forced == kHighHz),
            "a frame rate is forced without a boost", "forced", forced, "armed",
            FpsCommon::ArmedStrategy());
}

/**
 * Nobody but a dynamic strategy moves the panel away from what was decided last. An unlock may hold
 * the rate that it found: then the scene that came during it waits, with every strategy at rest.
 */
void Invariants::checkRequest(const Look& now) {
    const int32_t requested = LcdFpsControl::GetLastLcdFps();
    if (FpsCommon::switchAll != 0) {
        require(FpsCommon::switchAll < 0 || requested == FpsCommon::switchAll,
                "the fixed rate is not requested", "requested", requested, "fixed",
                FpsCommon::switchAll);
        return;
    }
    if (now.scenes.fingerprintStatus != 0) {
        require(std::string(FpsCommon::ArmedStrategy()) == "none",
                "a strategy is armed during an unlock", "armed", FpsCommon::ArmedStrategy());
    } else if (const auto scene = DecideByScene(now.scenes); scene.has_value()) {
        require(requested == scene->rate, "a scene holds, and its rate is not requested", "rule",
                scene->rule->name, "rate", scene->rate, "requested", requested);
    }
    if (!mLast.has_value()) {
        return;
    }
    const Decision& decision = mLast->decision;
    if (decision.outcome == Outcome::kGameDynamic) {
        require(requested == kLowHz || requested == kHighHz,
                "the game strategy requests a rate that is not its own", "requested", requested);
    } else if (decision.outcome != Outcome::kAppDynamic) {
        require(requested == decision.rate, "the last decision's rate is not requested", "rule",
                decision.rule->name, "rate", decision.rate, "requested", requested);
    }
}

/** The panel has what was requested last, or a failure was recorded. */
void Invariants::checkPanel(const Look& now) {
    if (now.failures != mBefore.failures) {
        mPanelFollows = false;
    } else if (now.requests != mBefore.requests) {
        mPanelFollows = true;
    }
    const int32_t panel = mPhone.panel->currentHz();
    const int32_t requested = LcdFpsControl::GetLastLcdFps();
    require(!mPanelFollows || panel == requested,
            "the panel has not the rate that was requested last", "panel", panel, "requested",
            requested);
}

/** What belongs to the package in front is forgotten when that changes, and only then. */
void Invariants::checkPackage(const Look& now) {
    const PolicySnapshot& is = now.scenes;
    const PolicySnapshot& was = mBefore.scenes;
    const uint32_t changes = now.packageChanges - mBefore.packageChanges;
    if (changes == 0) {
        require(is.gpuCompositionCount >= was.gpuCompositionCount &&
                    is.ctsTestCount == was.ctsTestCount,
                "a count of the package changed without it", "gpu_composition_count",
                is.gpuCompositionCount, "before", was.gpuCompositionCount, "compatibility_test",
                is.ctsTestCount, "before", was.ctsTestCount);
    } else if (changes == 1) {
        require(!is.underWechatVideoScene && !is.underFullVideoScene &&
                    is.gpuCompositionStatus == 0 && is.gpuCompositionCount == 0,
                "a scene outlived its package", "video_call", is.underWechatVideoScene,
                "full_video", is.underFullVideoScene, "gpu_composition", is.gpuCompositionStatus,
                "gpu_composition_count", is.gpuCompositionCount);
        const int32_t held = IsCompatibilityTest(FpsCommon::CurrentPkgName())
                                 ? 2
                                 : std::max(was.ctsTestCount - 1, 0);
        require(is.ctsTestCount == held, "a compatibility test is counted wrongly", "count",
                is.ctsTestCount, "before", was.ctsTestCount);
    }
}

void Invariants::checkMemory() {
    {
        MutexLock lock(FpsCommon::appTypeMapMutex);
        require(FpsCommon::appTypeMap.size() <= kRememberedPackages,
                "too many types are remembered", "types", FpsCommon::appTypeMap.size());
    }
    {
        MutexLock lock(FpsCommon::codeCacheMutex);
        for (const auto* cache : {&FpsCommon::appCodeCache, &FpsCommon::gameCodeCache}) {
            for (const auto& [setting, codes] : *cache) {
                require(codes.size() <= kRememberedPackages, "too many codes are remembered",
                        "setting", setting, "codes", codes.size());
            }
        }
    }
    const size_t packages = LcdFpsControl::stats.totals().nsAtRateByPackage.size();
    require(packages <= RateStats::kMostPackages + 1, "too many packages have statistics",
            "packages", packages);
}

/** Peers that always answer know what the policy knows, and the panel follows. */
void Invariants::checkPeers() {
    const bool wantsTouches = mPhone.compositor->wantsTouchEvents();
    require(wantsTouches == FpsCommon::appDynamicSwitch,
            "the compositor was not told whether touches are wanted", "told", wantsTouches);
    const auto type = FpsCommon::RememberedType(FpsCommon::CurrentPkgName());
    require(!type.has_value() || FpsCommon::gameScene == (*type == kTypeGame),
            "the game flag is not the foreground's", "flag", FpsCommon::gameScene.load());
    const int32_t panel = mPhone.panel->currentHz();
    require(panel == LcdFpsControl::GetLastLcdFps(), "the panel does not follow", "panel", panel,
            "requested", LcdFpsControl::GetLastLcdFps());
    if (mLast.has_value() && FpsCommon::fingerprintStatus == 0) {
        const Decision anew = FpsCommon::Decide();
        require(anew == mLast->decision, "the last decision has not seen every input", "rule",
                mLast->decision.rule->name, "anew", anew.rule->name);
    }
}

}  // namespace KVT::sim

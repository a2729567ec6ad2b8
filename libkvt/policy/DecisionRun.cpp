// SPDX-License-Identifier: Apache-2.0
// The decision, from the snapshot to its application.
#include <iterator>

#include "common/Codes.h"
#include "common/Rows.h"
#include "display/LcdFpsControl.h"
#include "peers/CompositorNotices.h"
#include "policy/FpsCommon.h"
#include "strategy/AppDynamicFps.h"
#include "strategy/GameDynamicFps.h"
#include "strategy/GameHighFps.h"

namespace KVT {

DecisionLog FpsCommon::decisions;
Mutex FpsCommon::decisionMutex;

void FpsCommon::DoWithForeAppSwitch() {
    Event event;
    RunDecision(kUnlessUnlocking);
}

void FpsCommon::DoWithForeAppSwitchInternal() {
    Event event;
    RunDecision(kInAnyCase);
}

Decision FpsCommon::Decide() {
    Event event;
    LearnForeground(kInAnyCase);
    return FindDecision();
}

void FpsCommon::RunDecision(When when) {
    LearnForeground(when);
    if (IsUnlocking(when)) {
        return;
    }
    const Decision decision = FindDecision();
    decisions.add(Foreground(), decision);
    Apply(decision);
}

Decision FpsCommon::FindDecision() {
    if (const std::optional<Decision> scene = DecideByScene(TakeSnapshot()); scene.has_value()) {
        return *scene;
    }
    return IsGame(Foreground()) ? DecideGame(GetGameCode(Foreground()))
                                : DecideApp(AppCodeOf(Foreground()));
}

PolicySnapshot FpsCommon::TakeSnapshot() {
    PolicySnapshot state = TakeSceneInputs();
    state.gpuCompositionCountLimit = tables.gpuCompositionCountLimit;
    return state;
}

void FpsCommon::Apply(const Decision& decision) {
    // What an outcome does, in this order: reset, set the decision's rate, arm.
    struct Course {
        Outcome outcome;
        void (*resetFirst)();
        void (*resetThen)();
        void (*arm)();
    };
    constexpr auto nothing = [] {};
    static constexpr Course kCourses[] = {
        {Outcome::kHold, ResetAppStrategy, ResetGameStrategy, nothing},
        {Outcome::kGameFixed, ResetAppStrategy, ResetGameStrategy, nothing},
        {Outcome::kGameConstHigh, ResetAppStrategy, ResetGameStrategy, SetGameConstHighStrategy},
        {Outcome::kGameDynamic, ResetAppStrategy, ResetGameStrategy, SetGameDynamicStrategy},
        {Outcome::kAppFixed, ResetGameStrategy, ResetAppStrategy, nothing},
        {Outcome::kAppDynamic, ResetGameStrategy, nothing, SetAppStrategy},
    };
    static_assert(std::size(kCourses) == static_cast<size_t>(Outcome::kAppDynamic) + 1);
    static_assert(AreInPlace(kCourses, &Course::outcome));
    const bool staysDynamic = decision.outcome == Outcome::kAppDynamic && appDynamicSwitch;
    const Course& course = kCourses[static_cast<size_t>(decision.outcome)];
    course.resetFirst();
    course.resetThen();
    const Cause cause{Cause::kDecision, decision.rule->name, decision.code};
    if (decision.rate != kRateUntouched) {
        LcdFpsControl::SetLcdFps(decision.rate, cause);
    } else if (staysDynamic) {
        LcdFpsControl::journal.onCauseKept();  // the finger's, or that there is none
    } else {
        LcdFpsControl::journal.onCause(cause);
    }
    course.arm();
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

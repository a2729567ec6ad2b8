// SPDX-License-Identifier: Apache-2.0
#include "display/Cause.h"

#include <iterator>

#include "common/Rows.h"

namespace KVT {
namespace {

struct KindRow {
    Cause::Kind kind;
    const char* name;
    const char* meaning;
};

constexpr KindRow kKinds[] = {
    {Cause::kUnnamed, "unnamed", "a program in the service's process asked for it"},
    {Cause::kDecision, "decision", "decided"},
    {Cause::kFixedMode, "fixed-mode",
     "the policy is off: a property fixes the rate, or the panel has no other"},
    {Cause::kRecovery, "recovery", "the rate was changed from outside, and set back"},
    {Cause::kTouchDown, "touch-down", "a finger is, or was just, on the screen"},
    {Cause::kTouchRest, "touch-rest", "no finger on the screen, and nothing moves"},
    {Cause::kClimb, "climb",
     "the game ran at more than 60 frames per second, and not below 46 since"},
    {Cause::kFall, "fall",
     "the game ran at fewer than 46 frames per second, and not above 60 since"},
    {Cause::kTrial, "trial",
     "a game at 60 frames per second gets 90 Hz for 5 s, to climb if it can"},
    {Cause::kTrialOver, "trial-over",
     "a trial at 90 Hz ended without more than 60 frames per second"},
    {Cause::kBoost, "boost",
     "the scheduler is told 90 frames per second for 5 s, to help the game climb"},
};
static_assert(std::size(kKinds) == Cause::kBoost + 1);
static_assert(AreInPlace(kKinds, &KindRow::kind));

}  // namespace

const char* Cause::name() const {
    return rule != nullptr ? rule : kKinds[kind].name;
}

const char* Cause::meaning() const {
    return kKinds[kind].meaning;
}

}  // namespace KVT

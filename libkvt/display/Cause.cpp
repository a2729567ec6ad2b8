// SPDX-License-Identifier: Apache-2.0
#include "display/Cause.h"

#include <iterator>

#include "common/Rows.h"

namespace KVT {
namespace {

struct KindName {
    Cause::Kind kind;
    const char* name;
};

constexpr KindName kNames[] = {
    {Cause::kUnnamed, "unnamed"},      {Cause::kDecision, "decision"},
    {Cause::kFixedMode, "fixed-mode"}, {Cause::kRecovery, "recovery"},
    {Cause::kTouchDown, "touch-down"}, {Cause::kTouchRest, "touch-rest"},
    {Cause::kClimb, "climb"},          {Cause::kFall, "fall"},
    {Cause::kTrial, "trial"},          {Cause::kTrialOver, "trial-over"},
    {Cause::kBoost, "boost"},
};
static_assert(std::size(kNames) == Cause::kBoost + 1);
static_assert(AreInPlace(kNames, &KindName::kind));

}  // namespace

const char* Cause::name() const {
    return rule != nullptr ? rule : kNames[kind].name;
}

}  // namespace KVT

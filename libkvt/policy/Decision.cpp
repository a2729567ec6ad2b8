// SPDX-License-Identifier: Apache-2.0
#include "policy/Decision.h"

#include <iterator>

#include "common/Codes.h"

namespace KVT {
namespace {

// The first row that holds decides. Where none does, one of the last two: the package's own.
constexpr Rule kRules[] = {
    {"display-hotplug", kLowHz,
     [](const PolicySnapshot& s) { return s.underDisplayHotplugControl; },
     "an external display is connected"},
    {"virtual-display", kLowHz, [](const PolicySnapshot& s) { return s.virtualDisplayStatus >= 1; },
     "a virtual display lives"},
    {"touch-pointer", kLowHz, [](const PolicySnapshot& s) { return s.underTpPointerControl; },
     "a touch-pad pointer is in use"},
    {"power-saving", kLowHz, [](const PolicySnapshot& s) { return s.powerModeSwitch; },
     "the power mode is 1 or 4"},
    {"video-call", kLowHz, [](const PolicySnapshot& s) { return s.underWechatVideoScene; },
     "a video call runs"},
    {"full-video", kLowHz, [](const PolicySnapshot& s) { return s.underFullVideoScene; },
     "full-screen video plays"},
    {"gpu-composition", kLowHz, [](const PolicySnapshot& s) { return s.gpuCompositionStatus == 1; },
     "the compositor composes with the GPU"},
    {"gpu-composition-count", kLowHz,
     [](const PolicySnapshot& s) { return s.gpuCompositionCount >= s.gpuCompositionCountLimit; },
     "it did so too often for this package"},
    {"fingerprint-low", kLowHz, [](const PolicySnapshot& s) { return s.fingerprintStatus == 2; },
     "a fingerprint unlock wants the low rate"},
    {"compatibility-test", kLowHz, [](const PolicySnapshot& s) { return s.ctsTestCount >= 1; },
     "a compatibility test is, or was just, in front"},
    {"multi-app-forced", kLowHz, [](const PolicySnapshot& s) { return s.underMultiAppStatus == 2; },
     "several applications are visible, and the configuration says so"},
    {"fingerprint-high", kHighHz, [](const PolicySnapshot& s) { return s.fingerprintStatus == 1; },
     "a fingerprint unlock wants the high rate"},
    {"multi-app-mixed", kHighHz, [](const PolicySnapshot& s) { return s.underMultiAppStatus == 1; },
     "several applications with different codes are visible"},
    {"game-code", kRateByCode, nullptr, "none of the above: by the game's code"},
    {"app-code", kRateByCode, nullptr, "none of the above: by the application's code"},
};
constexpr const Rule* kGameCodeRule = std::end(kRules) - 2;
constexpr const Rule* kAppCodeRule = std::end(kRules) - 1;

}  // namespace

Rows<Rule> Rules() {
    return {std::begin(kRules), std::end(kRules)};
}

std::optional<Decision> DecideByScene(const PolicySnapshot& state, const Rule* except) {
    for (const Rule& rule : kRules) {
        if (rule.holds != nullptr && &rule != except && rule.holds(state)) {
            return Decision{Outcome::kHold, rule.rate, &rule};
        }
    }
    return std::nullopt;
}

Decision DecideGame(int32_t code) {
    if (code == kCodeDynamic) {
        return {Outcome::kGameDynamic, kLowHz, kGameCodeRule, code};
    }
    return {code == kCodeHigh ? Outcome::kGameConstHigh : Outcome::kGameFixed, kCodeToHz[code],
            kGameCodeRule, code};
}

Decision DecideApp(int32_t code) {
    if (code == kCodeDynamic) {
        return {Outcome::kAppDynamic, kRateUntouched, kAppCodeRule, code};
    }
    return {Outcome::kAppFixed, kCodeToHz[code], kAppCodeRule, code};
}

const char* NameOf(Outcome outcome) {
    switch (outcome) {
        case Outcome::kHold:
            return "hold";
        case Outcome::kGameFixed:
            return "game-fixed";
        case Outcome::kGameConstHigh:
            return "game-const-high";
        case Outcome::kGameDynamic:
            return "game-dynamic";
        case Outcome::kAppFixed:
            return "app-fixed";
        case Outcome::kAppDynamic:
            return "app-dynamic";
    }
    return "unknown";
}

}  // namespace KVT

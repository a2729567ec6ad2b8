// SPDX-License-Identifier: Apache-2.0
#include "policy/Decision.h"

#include "common/Codes.h"

namespace KVT {
namespace {

struct SceneRule {
    Rule rule;
    int32_t rate;
    bool (*holds)(const PolicySnapshot&);
};

// The first row that holds decides.
constexpr SceneRule kSceneRules[] = {
    {Rule::kDisplayHotplug, kLowHz, [](const PolicySnapshot& s) { return s.displayHotplug; }},
    {Rule::kVirtualDisplay, kLowHz, [](const PolicySnapshot& s) { return s.virtualDisplays >= 1; }},
    {Rule::kTpPointer, kLowHz, [](const PolicySnapshot& s) { return s.tpPointer; }},
    {Rule::kPowerSaving, kLowHz, [](const PolicySnapshot& s) { return s.powerSaving; }},
    {Rule::kVideoCall, kLowHz, [](const PolicySnapshot& s) { return s.videoCall; }},
    {Rule::kFullVideo, kLowHz, [](const PolicySnapshot& s) { return s.fullVideo; }},
    {Rule::kGpuComposition, kLowHz,
     [](const PolicySnapshot& s) { return s.gpuCompositionStatus == 1; }},
    {Rule::kGpuCompositionCount, kLowHz,
     [](const PolicySnapshot& s) { return s.gpuCompositionCount >= s.gpuCompositionCountLimit; }},
    {Rule::kFingerprintLow, kLowHz,
     [](const PolicySnapshot& s) { return s.fingerprintStatus == 2; }},
    {Rule::kCompatibilityTest, kLowHz, [](const PolicySnapshot& s) { return s.ctsTestCount >= 1; }},
    {Rule::kMultiAppForced, kLowHz, [](const PolicySnapshot& s) { return s.multiAppStatus == 2; }},
    {Rule::kFingerprintHigh, kHighHz,
     [](const PolicySnapshot& s) { return s.fingerprintStatus == 1; }},
    {Rule::kMultiAppMixed, kHighHz, [](const PolicySnapshot& s) { return s.multiAppStatus == 1; }},
};

}  // namespace

std::optional<Decision> DecideByScene(const PolicySnapshot& state) {
    for (const SceneRule& row : kSceneRules) {
        if (row.holds(state)) {
            return Decision{Outcome::kHold, row.rate, row.rule};
        }
    }
    return std::nullopt;
}

Decision DecideGame(int32_t code) {
    if (code == kCodeDynamic) {
        return {Outcome::kGameDynamic, kLowHz, Rule::kGameCode, code};
    }
    return {code == kCodeHigh ? Outcome::kGameConstHigh : Outcome::kGameFixed, kCodeToHz[code],
            Rule::kGameCode, code};
}

Decision DecideApp(int32_t code) {
    if (code == kCodeDynamic) {
        return {Outcome::kAppDynamic, kRateUntouched, Rule::kAppCode, code};
    }
    return {Outcome::kAppFixed, kCodeToHz[code], Rule::kAppCode, code};
}

const char* NameOf(Rule rule) {
    switch (rule) {
        case Rule::kDisplayHotplug:
            return "display-hotplug";
        case Rule::kVirtualDisplay:
            return "virtual-display";
        case Rule::kTpPointer:
            return "touch-pointer";
        case Rule::kPowerSaving:
            return "power-saving";
        case Rule::kVideoCall:
            return "video-call";
        case Rule::kFullVideo:
            return "full-video";
        case Rule::kGpuComposition:
            return "gpu-composition";
        case Rule::kGpuCompositionCount:
            return "gpu-composition-count";
        case Rule::kFingerprintLow:
            return "fingerprint-low";
        case Rule::kCompatibilityTest:
            return "compatibility-test";
        case Rule::kMultiAppForced:
            return "multi-app-forced";
        case Rule::kFingerprintHigh:
            return "fingerprint-high";
        case Rule::kMultiAppMixed:
            return "multi-app-mixed";
        case Rule::kGameCode:
            return "game-code";
        case Rule::kAppCode:
            return "app-code";
    }
    return "unknown";
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

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace KVT {

/** Everything the decision looks at, apart from what the foreground package is. */
struct PolicySnapshot {
    bool displayHotplug = false;
    int32_t virtualDisplays = 0;
    bool tpPointer = false;
    bool powerSaving = false;
    bool videoCall = false;
    bool fullVideo = false;
    int32_t gpuCompositionStatus = 0;
    int32_t gpuCompositionCount = 0;
    int32_t gpuCompositionCountLimit = 1;
    int32_t fingerprintStatus = 0;
    int32_t ctsTestCount = 0;
    int32_t multiAppStatus = 0;
};

/** Why the decision came out as it did. In order of precedence. */
enum class Rule {
    kDisplayHotplug,
    kVirtualDisplay,
    kTpPointer,
    kPowerSaving,
    kVideoCall,
    kFullVideo,
    kGpuComposition,
    kGpuCompositionCount,
    kFingerprintLow,
    kCompatibilityTest,
    kMultiAppForced,
    kFingerprintHigh,
    kMultiAppMixed,
    kGameCode,
    kAppCode,
};

/** What is to be done. */
enum class Outcome {
    kHold,           // no strategy, a rate that a scene asks for
    kGameFixed,      // no strategy, the rate of the game's code
    kGameConstHigh,  // 90 Hz and the constant-high strategy
    kGameDynamic,    // 60 Hz and the game dynamic strategy
    kAppFixed,       // no strategy, the rate of the application's code
    kAppDynamic,     // the touch strategy, from whatever rate the panel has
};

inline constexpr int32_t kRateUntouched = 0;

struct Decision {
    Outcome outcome;
    /** Hz, or kRateUntouched. */
    int32_t rate;
    Rule rule;
    /** Refresh-rate code of the package; -1 when a scene decided. */
    int32_t code = -1;

    bool operator==(const Decision& other) const {
        return outcome == other.outcome && rate == other.rate && rule == other.rule &&
               code == other.code;
    }
};

/** The decision of the first scene that holds; nothing when the package is to decide. */
std::optional<Decision> DecideByScene(const PolicySnapshot& state);

/** The decision for a package without a scene, by its refresh-rate code (0 to 6, 9). */
Decision DecideGame(int32_t code);
Decision DecideApp(int32_t code);

/** Names as the dump, kvtctl and the simulator print them. */
const char* NameOf(Rule rule);
const char* NameOf(Outcome outcome);

}  // namespace KVT

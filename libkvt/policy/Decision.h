// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "common/Rows.h"
#include "state/SceneInputs.h"

namespace KVT {

/** A rule of the decision. Its row in Decision.cpp is all there is to say about it. */
struct Rule {
    /** As the dump, kvtctl and the simulator print it. */
    const char* name;
    /** Hz; kRateByCode where the package's refresh-rate code gives it. */
    int32_t rate;
    /** Whether the state calls for it; null where the package decides. */
    bool (*holds)(const PolicySnapshot& state);
    /** When that is, for people. */
    const char* when;
};

inline constexpr int32_t kRateByCode = -1;

/** All rules, in order of precedence: the first that holds decides. */
Rows<Rule> Rules();

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
    const Rule* rule;
    /** Refresh-rate code of the package; -1 when a scene decided. */
    int32_t code = -1;

    bool operator==(const Decision& other) const {
        return outcome == other.outcome && rate == other.rate && rule == other.rule &&
               code == other.code;
    }
};

/**
 * The decision of the first scene that holds; nothing when the package is to decide.
 *
 * @param except a rule that is passed over, to find what would hold without it
 */
std::optional<Decision> DecideByScene(const PolicySnapshot& state, const Rule* except = nullptr);

/** The decision for a package without a scene, by its refresh-rate code (0 to 6, 9). */
Decision DecideGame(int32_t code);
Decision DecideApp(int32_t code);

/** As the dump, kvtctl and the simulator print it. */
const char* NameOf(Outcome outcome);

}  // namespace KVT

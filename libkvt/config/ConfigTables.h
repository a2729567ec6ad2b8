// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "config/PrefixSet.h"

namespace KVT {

/**
 * What the configuration file says, on top of the built-in values. XmlParser fills them in.
 */
struct ConfigTables {
    /** Refresh-rate code by user setting and switch name. */
    std::map<int32_t, std::map<std::string, int32_t, std::less<>>> settingSwitchMap;
    /** User setting when the property does not give one. */
    int32_t defaultSettingId = 0;

    /** Application types by list name. */
    std::unordered_map<std::string, std::unordered_set<int32_t>> appTypeFilterMap;
    /** Package-name prefixes by list name. */
    std::unordered_map<std::string, PrefixSet> appPkgFilterMap;
    std::unordered_map<std::string, PrefixSet> gameFilterMap;

    /** A touch-pad pointer lowers the rate. */
    bool tpPointerSwitch = true;
    /** Several visible applications get the low rate, whatever their codes. */
    bool multiAppLcdFpsSwitch = false;

    /** GPU composition lowers the rate. */
    bool gpuCompositionSwitch = false;
    /** GPU-composition starts that a package may have before it is held at the low rate. */
    int32_t gpuCompositionCountLimit = 1;
    /** The compositor is told a threshold with each rate. */
    bool particalComposeSwitch = false;
    /** Threshold that the compositor gets with 90 Hz. */
    int32_t partialComposeThreshold = 12;
    /** Parameters of the touch-scroll model, for a component outside this library. */
    std::string slideModelParams = "0 0.6 0.8 5000.0 0.6 0.8 15000.0 0.6 0.8";
};

/**
 * Where the tables of the process are; FpsCommon's members by inheritance. Written at start-up, and
 * with both FpsCommon::decisionMutex and codeCacheMutex held: either of them is enough to read.
 */
class PolicyConfig {
  public:
    PolicyConfig() = delete;

    static ConfigTables tables;
};

extern const std::unordered_set<int32_t> validFpsCodes;
extern const std::unordered_set<int32_t> validLcdSettings;
extern const std::unordered_set<std::string> settingSwitchNames;
extern const std::unordered_set<std::string> applicationListNames;

/** Parameters of the compositor section, those that the compositor gets in its message's order. */
inline constexpr const char* kSfParamNames[] = {"switch", "sf_accum_time", "sf_accum_count",
                                                "app_penalty_time", "app_penalty_count"};
/** Parameters of the partial-composition section. */
inline constexpr const char* kComposeParamNames[] = {"switch", "high_freq_compose_threshold"};

}  // namespace KVT

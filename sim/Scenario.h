// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/EventTypes.h"

namespace KVT::sim {

/** One line of a scenario, checked. */
struct ScenarioEvent {
    int64_t atNs;
    /** The line as it was written, without at_ms, for the report. */
    std::string text;
    Action action;
};

/**
 * A scenario: a text file with one JSON object per line. Empty lines and lines that begin with '#'
 * are for people. The first object may be {"event":"setup"}: the configuration file ("config",
 * relative to the scenario), system properties ("properties"), and the arguments of a "panel" and a
 * "types" event under these names. Every other has "at_ms", "event" and that event's arguments.
 */
struct Scenario {
    std::string configFile;
    std::vector<std::pair<std::string, std::string>> properties;
    /** What the phone is like before the service starts. */
    std::vector<Action> before;
    /** In order of time. */
    std::vector<ScenarioEvent> events;
};

/** @throws ScenarioError "file:line: what is wrong" */
Scenario ReadScenarioFile(const std::string& path);

}  // namespace KVT::sim

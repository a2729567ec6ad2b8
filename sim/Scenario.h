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
    /** Where it stands in the file, from 1. */
    int line;
    EventType::Kind kind;
    /** The line as it was written, without at_ms, for the report. */
    std::string text;
    Action action;
};

/**
 * A scenario: a text file with one JSON object per line. Empty lines and lines that begin with '#'
 * are for people. The first object may be {"event":"setup"}: the configuration file ("config",
 * relative to the scenario), system properties ("properties"), the arguments of a "panel" and a
 * "types" event under these names, and services that are not there at the start ("missing"). Every
 * other has "at_ms", "event" and that event's arguments; docs/scenarios.md has them all.
 */
struct Scenario {
    std::string configFile;
    std::vector<std::pair<std::string, std::string>> properties;
    /** What the phone is like before the service starts. */
    std::vector<Action> before;
    /** Full names of services that are missing when it does. */
    std::vector<std::string> missing;
    /** In order of time. */
    std::vector<ScenarioEvent> events;

    /** How many of them are expectations. */
    size_t expectations() const;
};

/** @throws ScenarioError "file:line: what is wrong" */
Scenario ReadScenarioFile(const std::string& path);

/** What a line may be, as a JSON schema; from the same code that reads it. */
Json::Value LineSchema();
/** The same for people: each event with its arguments, in brackets those that may be missing. */
std::string DescribeLines();

}  // namespace KVT::sim

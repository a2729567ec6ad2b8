// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace KVT::sim {

/** What became of one scenario. */
struct ScenarioOutcome {
    enum Kind {
        /** Played, with all that was expected of it. */
        kMet,
        kUnmet,
        /** Not to be read, or its player ended by itself. */
        kBroken,
    };
    std::string path;
    Kind kind = kBroken;
    /** A line for each fault, "path:line: what". */
    std::string faults;
    /** Real seconds. */
    double seconds = 0;
};

/** Plays a scenario, and writes its faults to `out`. @return as the process is to end */
using PlayScenario = std::function<int(const std::string& path, std::ostream& out)>;

/**
 * The files *.jsonl in these folders and below, each folder's by name, and files as they are named.
 * @throws ScenarioError where there is none
 */
std::vector<std::string> ScenarioFiles(const std::vector<std::string>& paths);

/**
 * Plays each in a process of its own, `jobs` at a time, and prints a line for each, in their order.
 * To be called before the process has threads, or virtual time.
 */
std::vector<ScenarioOutcome> TestScenarios(const std::vector<std::string>& files, size_t jobs,
                                           const PlayScenario& play, std::ostream& out);

/** Writes them as JUnit's XML; the file is there as a whole or not at all. @return whether it is */
bool WriteJunit(const std::vector<ScenarioOutcome>& outcomes, const std::string& file);

}  // namespace KVT::sim

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "sim/Scenario.h"
#include "sim/World.h"

namespace KVT::sim {

/**
 * Plays a scenario through the real library and prints a line for each event and each consequence,
 * then a summary of what the panel did. Once per process: the policy is process-wide state.
 */
class Player {
  public:
    Player(const Scenario& scenario, std::ostream& out) : mScenario(scenario), mOut(out) {}

    void play();

    /** An expectation of the scenario that was not met. */
    struct Unmet {
        /** Of the file. */
        int line;
        std::string what;
    };
    const std::vector<Unmet>& unmet() const { return mUnmet; }

  private:
    void startService();
    void happen(const ScenarioEvent& event);
    /** Until nothing has happened for longer than any strategy waits. */
    void playOn();
    void line(int64_t time, const std::string& text);
    /** Prints what has happened since the last call, in order of time. */
    void printConsequences();
    void printSummary();

    const Scenario& mScenario;
    std::ostream& mOut;
    World mWorld{true};
    std::vector<Unmet> mUnmet;
    int64_t mStart = 0;
    uint64_t mLines = 0;
    bool mHasEnded = false;
    uint64_t mLastDecision = 0;
    uint64_t mLastRate = 0;
    uint64_t mFailures = 0;
    int32_t mHz = 0;
    std::string mForeground;
};

}  // namespace KVT::sim

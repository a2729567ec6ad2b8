// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "sim/Arguments.h"

namespace KVT::sim {

/** What a scenario expects of the policy at a time; what it does not name may be anything. */
struct Expectation {
    /** The panel's, Hz. */
    std::optional<int32_t> hz;
    /** As the journal of rates names it. */
    std::optional<std::string> cause;
    std::optional<std::string> foreground;
    std::optional<std::string> strategy;
    /** The game's frame rate as detected, and by how much it may be another. */
    std::optional<int32_t> fps;
    int32_t tolerance = 0;

    bool isEmpty() const { return !hz && !cause && !foreground && !strategy && !fps; }
    static Expectation Read(Arguments& arguments);
    /** @return "" or what is not so: "90 Hz, not 60; cause app-code, not power-saving" */
    std::string unmet(int32_t panelHz) const;
};

}  // namespace KVT::sim

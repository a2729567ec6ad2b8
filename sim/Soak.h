// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

namespace KVT::sim {

struct SoakOptions {
    /** Of the phone's time. */
    double days = 1;
    /** Chooses everything that happens. */
    uint64_t seed = 1;
    /** Configuration file; empty for one in which packages lead to all that they can lead to. */
    std::string configFile;
};

/**
 * Days of a phone in virtual time: random events of framework, compositor and games, while the
 * peers of the service fail and come back. What must always hold (Invariants.h) is looked at after
 * every stretch of time, and more strictly once the peers are back. Once per process.
 *
 * Prints each rule that was violated at once, and an account of the faults at the end.
 *
 * @return whether nothing was violated
 */
bool Soak(const SoakOptions& options, std::ostream& out);

}  // namespace KVT::sim

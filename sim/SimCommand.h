// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ostream>

namespace KVT::sim {

/**
 * The program kvt-sim, as a function that tests can call.
 *
 * @return exit status: 0, 1 when something is not as a scenario expects it or as it always must be,
 *         2 for a command line or scenario that makes no sense
 */
int RunSim(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace KVT::sim

// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace KVT {

/**
 * The service host: starts the policy, publishes the service and serves until SIGTERM or SIGINT,
 * which ends the process with status 0. SIGHUP has it read its configuration anew.
 *
 * @return exit status when it does not come to that: 1 without a binder driver or service manager,
 * or when there is a host already; 2 for a command line that makes no sense, or that names a
 * configuration which can not be read
 */
int RunKvtd(int argc, const char* const* argv);

}  // namespace KVT

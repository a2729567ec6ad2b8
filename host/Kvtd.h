// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace KVT {

/**
 * The service host: starts the policy, publishes the service and serves until SIGTERM or SIGINT.
 *
 * @return exit status: 0 after a signal, 1 without a binder driver or service manager, 2 for a
 * command line that makes no sense
 */
int RunKvtd(int argc, const char* const* argv);

}  // namespace KVT

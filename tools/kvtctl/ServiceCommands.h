// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/kvtctl/Kvtctl.h"

namespace CLI {
class App;
}

namespace KVT::ctl {

/** One subcommand for each event of the framework and the compositor, and for each query. */
void AddEventCommands(CLI::App& app, Context& context);

/** "status", "watch" and "frames". */
void AddObserverCommands(CLI::App& app, Context& context);

}  // namespace KVT::ctl

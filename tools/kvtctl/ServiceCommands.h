// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/kvtctl/Kvtctl.h"

namespace CLI {
class App;
}

namespace KVT::ctl {

/** "status", "why", "history" and "report". */
void AddAnswerCommands(CLI::App& app, Context& context);

/** "watch". */
void AddWatchCommand(CLI::App& app, Context& context);

/** "frames". */
void AddFramesCommand(CLI::App& app, Context& context);

/** One subcommand for each event of the framework and the compositor, and for each query. */
void AddEventCommands(CLI::App& app, Context& context);

}  // namespace KVT::ctl

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/kvtctl/Kvtctl.h"

namespace CLI {
class App;
}

namespace KVT::ctl {

/** "completion bash", "zsh" and "fish": scripts made of the subcommands and options that `app` has. */
void AddCompletionCommand(CLI::App& app, Context& context);

}  // namespace KVT::ctl

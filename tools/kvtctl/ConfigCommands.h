// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/kvtctl/Kvtctl.h"

namespace CLI {
class App;
}

namespace KVT::ctl {

/** "config check" and "config explain": both work on a file, without a service. */
void AddConfigCommands(CLI::App& app, Context& context);

}  // namespace KVT::ctl

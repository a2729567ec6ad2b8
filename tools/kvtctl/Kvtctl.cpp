// SPDX-License-Identifier: Apache-2.0
#include "tools/kvtctl/Kvtctl.h"

#include <CLI/CLI.hpp>

#include "tools/kvtctl/ConfigCommands.h"
#include "tools/kvtctl/ServiceCommands.h"

namespace KVT::ctl {

int Run(int argc, const char* const* argv, std::ostream& out, std::ostream& err,
        const Process& process) {
    Context context{out, err, process};
    CLI::App app("Command line client of the refresh-rate service.", "kvtctl");
    app.require_subcommand(1);
    AddObserverCommands(app, context);
    AddEventCommands(app, context);
    AddConfigCommands(app, context);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e, out, err) == 0 ? kDone : kUsage;
    }
    return context.status;
}

}  // namespace KVT::ctl

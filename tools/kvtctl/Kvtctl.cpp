// SPDX-License-Identifier: Apache-2.0
#include "tools/kvtctl/Kvtctl.h"

#include "host/CommandLine.h"
#include "tools/kvtctl/Completion.h"
#include "tools/kvtctl/ConfigCommands.h"
#include "tools/kvtctl/ServiceCommands.h"

namespace KVT::ctl {

int Run(int argc, const char* const* argv, std::ostream& out, std::ostream& err,
        const Process& process) {
    Context context{out, err, process};
    CommandLine app("Command line client of the refresh-rate service.", "kvtctl");
    app.require_subcommand(1);
    app.footer(
        "Events go one-way: that the service is handed one is all that its sender learns.\n"
        "Exit status: 0 done, 1 the service is missing, died or refused, or the output can not be\n"
        "written, 2 wrong usage.\n"
        "Why is my screen at 60 Hz? kvtctl why; kvtctl history and report tell what was before.\n"
        "Example: kvtctl packages com.example.game com.example.game && kvtctl why");
    AddAnswerCommands(app, context);
    AddWatchCommand(app, context);
    AddFramesCommand(app, context);
    AddEventCommands(app, context);
    AddConfigCommands(app, context);
    AddCompletionCommand(app, context);
    if (const std::optional<int> ended = app.read(argc, argv, out, err); ended.has_value()) {
        return *ended;
    }
    return context.status;
}

}  // namespace KVT::ctl

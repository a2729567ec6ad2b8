// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>

#include "tools/kvtctl/Printer.h"

namespace KVT::ctl {

/** Exit statuses of every subcommand. */
enum ExitStatus {
    kDone = 0,
    kRefused = 1,  // the service said no or is missing; a configuration with findings
    kUsage = 2,    // the command line, or a file that it names, can not be read
};

/** What a subcommand may want of the process that it runs in. */
struct Process {
    /** @return whether there is a binder driver; the log says it when there is none */
    std::function<bool()> hasDriver = [] { return true; };
    /** Starts the threads that serve calls to this process; only "watch --fps" needs any. */
    std::function<void()> startThreadPool = [] {};
    /** @return whether a call to the service failed since this was last asked; thread by thread */
    std::function<bool()> takeFailure = [] { return false; };
    /** @return whether nobody reads standard output any more */
    std::function<bool()> isReaderGone = [] { return false; };
    /** Milliseconds since 1970. */
    std::function<int64_t()> wallClock = [] { return int64_t{0}; };
    /** What standard output is now: a window can become wider or narrower. */
    std::function<Terminal()> terminal = [] { return Terminal{}; };
};

/** Where subcommands write, and what they leave as the exit status. */
struct Context {
    std::ostream& out;
    std::ostream& err;
    Process process;
    int status = kDone;
};

/** All of kvtctl but the process around it. */
int Run(int argc, const char* const* argv, std::ostream& out, std::ostream& err,
        const Process& process = {});

}  // namespace KVT::ctl

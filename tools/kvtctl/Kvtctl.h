// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <iosfwd>

namespace KVT::ctl {

/** Exit statuses of every subcommand. */
enum ExitStatus {
    kDone = 0,
    kRefused = 1,  // the service said no or is missing; a configuration with findings
    kUsage = 2,    // the command line, or a file that it names, can not be read
};

/** Where subcommands write, and what they leave as the exit status. */
struct Context {
    std::ostream& out;
    std::ostream& err;
    /** Starts the threads that serve calls to this process; only "watch" needs any. */
    std::function<void()> startThreadPool;
    int status = kDone;
};

/** All of kvtctl but the process around it. */
int Run(
    int argc, const char* const* argv, std::ostream& out, std::ostream& err,
    const std::function<void()>& startThreadPool = [] {});

}  // namespace KVT::ctl

// SPDX-License-Identifier: Apache-2.0
#include "host/StandardOutput.h"

#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

namespace KVT {
namespace {

constexpr int kFailed = 1;

}  // namespace

int FinishStandardOutput(const char* program, int status) {
    const bool arrived = std::cout.flush() && fflush(stdout) == 0 && ferror(stdout) == 0;
    if (arrived || IsReaderGone()) {
        return status;
    }
    std::cerr << program << ": standard output can not be written\n";
    return kFailed;
}

bool IsReaderGone() {
    pollfd output{STDOUT_FILENO, 0, 0};
    return poll(&output, 1, 0) == 1 && (output.revents & (POLLERR | POLLHUP)) != 0;
}

}  // namespace KVT

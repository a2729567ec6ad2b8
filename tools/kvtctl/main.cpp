// SPDX-License-Identifier: Apache-2.0
#include <android/log.h>
#include <binder/IPCThreadState.h>
#include <binder/ProcessState.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "host/StandardOutput.h"
#include "tools/kvtctl/Kvtctl.h"
#include "tools/kvtctl/TimedCall.h"

namespace {

// The client facade returns nothing. That a call failed is known to the thread's binder state, that
// there was no service to call only to the log.
std::atomic<bool> gErrorLogged{false};

void Log(const __android_logger_data* logger, const char* message) {
    gErrorLogged = true;
    __android_log_stderr_logger(logger, message);
}

bool TakeFailure() {
    const bool refused = android::IPCThreadState::self()->clearLastError() != android::OK;
    return gErrorLogged.exchange(false) || refused;
}

int64_t WallClock() {
    using std::chrono::system_clock;
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               system_clock::now().time_since_epoch())
        .count();
}

/** Whether the variable is set, and not empty. */
bool IsSet(const char* variable) {
    const char* const value = getenv(variable);
    return value != nullptr && value[0] != '\0';
}

KVT::ctl::Terminal StandardOutput() {
    constexpr size_t kUsualColumns = 80;
    KVT::ctl::Terminal terminal;
    if (isatty(STDOUT_FILENO) == 0) {
        return terminal;
    }
    winsize size{};
    const bool isKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    terminal.columns = isKnown ? size.ws_col : kUsualColumns;
    const char* const type = getenv("TERM");
    const bool isDumb = type == nullptr || strcmp(type, "dumb") == 0;
    terminal.colour = !isDumb && !IsSet("NO_COLOR");
    return terminal;
}

}  // namespace

int main(int argc, char** argv) {
    __android_log_set_minimum_priority(ANDROID_LOG_ERROR);
    __android_log_set_logger(Log);
    KVT::ctl::Process process;
    process.hasDriver = [] { return android::ProcessState::self()->hasDriver(); };
    process.startThreadPool = [] { android::ProcessState::self()->startThreadPool(); };
    process.takeFailure = TakeFailure;
    process.isReaderGone = KVT::IsReaderGone;
    process.wallClock = WallClock;
    process.terminal = StandardOutput;
    const int status = KVT::FinishStandardOutput(
        "kvtctl", KVT::ctl::Run(argc, argv, std::cout, std::cerr, process));
    if (KVT::ctl::IsCallLeftBehind()) {
        std::quick_exit(status);
    }
    return status;
}

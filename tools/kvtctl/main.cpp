// SPDX-License-Identifier: Apache-2.0
#include <android/log.h>
#include <binder/IPCThreadState.h>
#include <binder/ProcessState.h>

#include <atomic>
#include <iostream>

#include "host/StandardOutput.h"
#include "tools/kvtctl/Kvtctl.h"

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

}  // namespace

int main(int argc, char** argv) {
    __android_log_set_minimum_priority(ANDROID_LOG_ERROR);
    __android_log_set_logger(Log);
    const int status =
        KVT::ctl::Run(argc, argv, std::cout, std::cerr,
                      {[] { return android::ProcessState::self()->hasDriver(); },
                       [] { android::ProcessState::self()->startThreadPool(); }, TakeFailure});
    return KVT::FinishStandardOutput("kvtctl", status);
}

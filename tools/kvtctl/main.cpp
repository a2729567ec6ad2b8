// SPDX-License-Identifier: Apache-2.0
#include <android/log.h>
#include <binder/ProcessState.h>

#include <iostream>

#include "tools/kvtctl/Kvtctl.h"

int main(int argc, char** argv) {
    __android_log_set_minimum_priority(ANDROID_LOG_ERROR);
    return KVT::ctl::Run(argc, argv, std::cout, std::cerr,
                         [] { android::ProcessState::self()->startThreadPool(); });
}

// SPDX-License-Identifier: Apache-2.0
#include "host/AwaitServiceManager.h"

#include <iostream>

#include "sync/Clock.h"

namespace KVT {

android::sp<android::IServiceManager> AwaitServiceManager(const char* program) {
    constexpr int64_t kPatienceNs = 5 * kNsPerS;
    constexpr int64_t kPollNs = 50 * kNsPerMs;
    const int64_t deadline = MonotonicNow() + kPatienceNs;
    android::sp<android::IServiceManager> manager = android::defaultServiceManager();
    while (manager == nullptr && MonotonicNow() < deadline) {
        SleepFor(kPollNs);
        manager = android::defaultServiceManager();
    }
    if (manager == nullptr) {
        std::cerr << program << ": there is no service manager; start kvt-servicemanager first\n";
    }
    return manager;
}

}  // namespace KVT

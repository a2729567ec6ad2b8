// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IServiceManager.h>

#include "sync/Clock.h"

namespace android {

/** The blocking lookup: asks again and again for 5 s at most. */
inline sp<IBinder> WaitForService(const IServiceManager& manager, const String16& name) {
    constexpr int64_t kPatienceNs = 5 * KVT::kNsPerS;
    constexpr int64_t kPollNs = 100 * KVT::kNsPerMs;
    const int64_t deadline = KVT::MonotonicNow() + kPatienceNs;
    for (;;) {
        sp<IBinder> service = manager.checkService(name);
        if (service != nullptr || KVT::MonotonicNow() >= deadline) {
            return service;
        }
        KVT::SleepFor(kPollNs);
    }
}

}  // namespace android

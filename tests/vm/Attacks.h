// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>
#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <vector>

namespace KVT::test {

/** A way in which processes that may do nothing try to stop, fill or fool the service. */
struct Attack {
    const char* name;
    /** How many do it side by side. */
    int processes;
    /** One blow, out of many, of the process with this number. */
    void (*strike)(const android::sp<android::IBinder>& service, int process, int blow);
};

const std::vector<Attack>& Attacks();

/** Whom apps and their isolated processes run as. */
constexpr uid_t kApp = 10057;
constexpr uid_t kIsolated = 99005;

/**
 * What one of its processes does until it is killed; every other one is isolated.
 *
 * @param blows  counts those of all processes
 * @param pause  ns between two blows: the emulated processor is to be kept busy by the service
 */
[[noreturn]] void Strike(const Attack& attack, int process, std::atomic<int>* blows, int64_t pause);

}  // namespace KVT::test

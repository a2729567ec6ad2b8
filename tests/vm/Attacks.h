// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>

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

}  // namespace KVT::test

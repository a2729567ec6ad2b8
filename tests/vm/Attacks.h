// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>

#include <string>
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

/** All packages are visible, and the first has the focus. */
android::status_t SendPackages(const android::sp<android::IBinder>& service,
                               const std::vector<std::u16string>& names, uint32_t flags);

/**
 * Names in which lines, keys and what a terminal obeys are forged ("forged" begins each such line),
 * and lists that are said to be long.
 */
void SendForgeries(const android::sp<android::IBinder>& service);

}  // namespace KVT::test

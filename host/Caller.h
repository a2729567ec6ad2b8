// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IPCThreadState.h>
#include <sys/types.h>

namespace KVT {

/** The process that sent a transaction, as the driver tells it. */
struct Caller {
    uid_t uid;
    /** 0 for who does not wait: of a one-way call the driver tells the uid alone. */
    pid_t pid;

    /** Whose call this thread serves; outside of calls this very process. */
    static Caller Current() {
        const auto* const thread = android::IPCThreadState::self();
        return {thread->getCallingUid(), thread->getCallingPid()};
    }
};

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IPCThreadState.h>

#include "host/Caller.h"

namespace KVT {

/** Calls of this thread, for the length of a scope, are those of another process. */
class CallingAs {
  public:
    explicit CallingAs(const Caller& caller) {
        android::IPCThreadState::self()->restoreCallingIdentity(
            static_cast<int64_t>(uint64_t{caller.uid} << 32 | static_cast<uint32_t>(caller.pid)));
    }
    ~CallingAs() { android::IPCThreadState::self()->restoreCallingIdentity(mBefore); }
    CallingAs(const CallingAs&) = delete;
    CallingAs& operator=(const CallingAs&) = delete;

  private:
    const int64_t mBefore = android::IPCThreadState::self()->clearCallingIdentity();
};

}  // namespace KVT

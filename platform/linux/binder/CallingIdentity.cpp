// SPDX-License-Identifier: Apache-2.0
// Who calls, taken for this process itself for a while.
#include <binder/IPCThreadState.h>
#include <unistd.h>

namespace android {

int64_t IPCThreadState::clearCallingIdentity() {
    const auto token = static_cast<int64_t>(static_cast<uint64_t>(mCallingUid) << 32 |
                                            static_cast<uint32_t>(mCallingPid));
    mCallingPid = getpid();
    mCallingUid = getuid();
    return token;
}

void IPCThreadState::restoreCallingIdentity(int64_t token) {
    mCallingUid = static_cast<uid_t>(static_cast<uint64_t>(token) >> 32);
    mCallingPid = static_cast<pid_t>(token);
}

}  // namespace android

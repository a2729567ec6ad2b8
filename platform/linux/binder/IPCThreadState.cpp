// SPDX-License-Identifier: Apache-2.0
// What is the same whatever the transport.
#include <binder/IPCThreadState.h>
#include <unistd.h>

#include <atomic>

namespace android {
namespace {

std::atomic<bool> gDisableBackgroundScheduling{false};

}  // namespace

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

void IPCThreadState::disableBackgroundScheduling(bool disable) {
    gDisableBackgroundScheduling = disable;
}

bool IPCThreadState::backgroundSchedulingDisabled() {
    return gDisableBackgroundScheduling;
}

}  // namespace android

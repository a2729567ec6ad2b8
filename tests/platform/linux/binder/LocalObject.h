// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/Binder.h>
#include <binder/IPCThreadState.h>
#include <binder/Parcel.h>

#include <functional>
#include <vector>

namespace KVT::test {

/** A local object that notes who called what, and answers as the test wants. */
class LocalObject : public android::BBinder {
  public:
    struct Call {
        uint32_t code;
        int32_t word;
        pid_t pid;
        uid_t uid;
    };
    std::vector<Call> calls;
    std::function<android::status_t(const android::Parcel&, android::Parcel*)> onCall;

  protected:
    android::status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                                 uint32_t flags) override {
        if (code > LAST_CALL_TRANSACTION) {
            return BBinder::onTransact(code, data, reply, flags);
        }
        const auto* thread = android::IPCThreadState::self();
        calls.push_back({code, data.readInt32(), thread->getCallingPid(), thread->getCallingUid()});
        return onCall ? onCall(data, reply) : android::OK;
    }
};

}  // namespace KVT::test

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IPCThreadState.h>
#include <binder/Parcel.h>
#include <binder/ProcessState.h>
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "tests/platform/linux/binder/FakeDriver.h"

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

/** A process on the fake driver, whose replies are always taken; in the end it must owe nothing. */
class DriverTest : public testing::Test {
  protected:
    DriverTest() {
        mDriver.onCommand = [](const FakeDriver::Command& command) -> std::optional<Answer> {
            return command.code == BC_REPLY ? std::optional(Answer().add(BR_TRANSACTION_COMPLETE))
                                            : std::nullopt;
        };
    }

    ~DriverTest() override {
        flush();
        EXPECT_EQ(mDriver.faults(), 0);
        for (const auto book : {FakeDriver::kBuffers, FakeDriver::kStrong, FakeDriver::kWeak}) {
            EXPECT_EQ(mDriver.owed(book).size(), 0u) << "book " << book;
        }
    }

    static android::sp<android::IBinder> proxy(int32_t handle = 7) {
        return android::ProcessState::self()->getStrongProxyForHandle(handle);
    }
    static void flush() { android::IPCThreadState::self()->flushCommands(); }
    /** Serves until the script ends. */
    static void serve() { android::IPCThreadState::self()->joinThreadPool(); }
    void serve(const Answer& answer) {
        mDriver.answer(answer);
        serve();
    }

    binder_transaction_data callOf(const android::sp<LocalObject>& object,
                                   const std::vector<int32_t>& words = {}, uint32_t flags = 0) {
        return FakeDriver::CallOf(object.get(), kCode, mDriver.receiveWords(words, flags));
    }

    static constexpr uint32_t kCode = 42;
    FakeDriver& mDriver = FakeDriver::Get();
};

}  // namespace KVT::test

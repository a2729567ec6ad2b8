// SPDX-License-Identifier: Apache-2.0
// Calls out of and into the process, against a fake driver.
#include <binder/BpBinder.h>
#include <binder/IPCThreadState.h>
#include <binder/ProcessState.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/platform/linux/binder/FakeDriver.h"
#include "tests/platform/linux/binder/LocalObject.h"

namespace KVT::test {
namespace {

using namespace android;

constexpr int32_t kHandle = 7;
constexpr uint32_t kCode = 42;

class KernelCalls : public testing::Test {
  protected:
    KernelCalls() { mRemote = ProcessState::self()->getStrongProxyForHandle(kHandle); }

    ~KernelCalls() override {
        mRemote.clear();
        IPCThreadState::self()->flushCommands();
        EXPECT_EQ(mDriver.faults(), 0);
        EXPECT_EQ(mDriver.buffersOut(), 0u);
        EXPECT_EQ(mDriver.references(), 0);
    }

    status_t call(Parcel* reply, uint32_t flags = 0) {
        Parcel data;
        data.writeInt32(5);
        return mRemote->transact(kCode, data, reply, flags);
    }

    binder_transaction_data words(const std::vector<int32_t>& values, uint32_t flags = 0) {
        return mDriver.receiveWords(values, flags);
    }

    binder_transaction_data callOf(const sp<LocalObject>& object,
                                   const std::vector<int32_t>& values = {}) {
        return FakeDriver::CallOf(object.get(), kCode, words(values));
    }

    /** Serves until the script ends. */
    static void serve() { IPCThreadState::self()->joinThreadPool(); }

    FakeDriver& mDriver = FakeDriver::Get();
    sp<IBinder> mRemote;
};

TEST_F(KernelCalls, SendsTheRequestAndReadsTheReplyInPlace) {
    mDriver.onCall = [this](const FakeDriver::Command& command) {
        const auto sent = command.as<binder_transaction_data>();
        EXPECT_EQ(sent.target.handle, static_cast<uint32_t>(kHandle));
        EXPECT_EQ(sent.code, kCode);
        EXPECT_EQ(sent.flags, static_cast<uint32_t>(TF_ACCEPT_FDS));
        EXPECT_EQ(sent.data_size, 4u);
        EXPECT_EQ(*reinterpret_cast<const int32_t*>(sent.data.ptr.buffer), 5);
        EXPECT_EQ(sent.offsets_size, 0u);
        return Answer().add(BR_NOOP).add(BR_TRANSACTION_COMPLETE).add(BR_REPLY, words({6, 7}));
    };
    Parcel reply;
    ASSERT_EQ(call(&reply), OK);
    EXPECT_EQ(reply.readInt32(), 6);
    EXPECT_EQ(reply.readInt32(), 7);
    EXPECT_EQ(mDriver.buffersOut(), 1u);
    reply.freeData();
    ASSERT_EQ(call(nullptr), OK) << "a reply that the caller does not want";
}

TEST_F(KernelCalls, AOneWayCallEndsWhenTheDriverHasTakenIt) {
    mDriver.answer(Answer().add(BR_TRANSACTION_COMPLETE));
    EXPECT_EQ(call(nullptr, IBinder::FLAG_ONEWAY), OK);
}

TEST_F(KernelCalls, AOneWayCallLeavesNoConfirmationUnsent) {
    const sp<LocalObject> sent = new LocalObject;
    const binder_ptr_cookie name{reinterpret_cast<uintptr_t>(sent->getWeakRefs()),
                                 reinterpret_cast<uintptr_t>(sent.get())};
    mDriver.answer(
        Answer().add(BR_INCREFS, name).add(BR_ACQUIRE, name).add(BR_TRANSACTION_COMPLETE));
    EXPECT_EQ(call(nullptr, IBinder::FLAG_ONEWAY), OK);
    EXPECT_EQ(mDriver.count(BC_ACQUIRE_DONE), 1);
    mDriver.answer(Answer().add(BR_RELEASE, name).add(BR_DECREFS, name));
    serve();
}

TEST_F(KernelCalls, TellsFailuresApart) {
    const binder_transaction_data status =
        words({PERMISSION_DENIED}, static_cast<uint32_t>(TF_STATUS_CODE));
    constexpr uint32_t kFrozenLater = _IO('r', 20);
    constexpr uint32_t kUnknown = _IOR('r', 77, int64_t);
    constexpr uint32_t kNotOurs = _IOR('q', 1, int32_t);
    constexpr uint32_t kTooLong = _IOC(_IOC_READ, 'r', 78, 4000);
    const struct {
        const char* what;
        Answer answer;
        uint32_t flags;
        status_t expected;
    } cases[] = {
        {"dead", Answer().add(BR_DEAD_REPLY), 0, DEAD_OBJECT},
        {"failed", Answer().add(BR_FAILED_REPLY), 0, FAILED_TRANSACTION},
        {"frozen", Answer().add(BR_FROZEN_REPLY), 0, FAILED_TRANSACTION},
        {"status reply", Answer().add(BR_REPLY, status), 0, PERMISSION_DENIED},
        {"error", Answer().add(BR_ERROR, int32_t{-5}), 0, -5},
        {"error that is none", Answer().add(BR_ERROR, int32_t{5}), 0, UNKNOWN_ERROR},
        {"one-way, spam", Answer().add(BR_ONEWAY_SPAM_SUSPECT), TF_ONE_WAY, OK},
        {"one-way, frozen", Answer().add(kFrozenLater), TF_ONE_WAY, OK},
        {"passed over", Answer().add(kUnknown, int64_t{0}).add(BR_FAILED_REPLY), 0,
         FAILED_TRANSACTION},
        {"no driver's command", Answer().add(kNotOurs, 1).add(BR_DEAD_REPLY), 0, UNKNOWN_ERROR},
        {"unknown and too long", Answer().add(kTooLong), 0, UNKNOWN_ERROR},
        {"unknown and cut off", Answer().add(kUnknown), 0, NOT_ENOUGH_DATA},
        {"half a command", Answer().bytes("ab", 2), 0, NOT_ENOUGH_DATA},
        {"half a reply", Answer().add(BR_REPLY, int64_t{1}), 0, NOT_ENOUGH_DATA},
        {"empty, then an answer", Answer(), 0, -ECONNREFUSED},
    };
    for (const auto& row : cases) {
        // A fresh proxy each time: a death is remembered.
        mRemote = ProcessState::self()->getStrongProxyForHandle(kHandle);
        mDriver.answer(row.answer);
        Parcel reply;
        EXPECT_EQ(call(&reply, row.flags), row.expected) << row.what;
        EXPECT_EQ(reply.dataSize(), 0u) << row.what;
        EXPECT_EQ(IPCThreadState::self()->clearLastError(), row.expected) << row.what;
        EXPECT_EQ(IPCThreadState::self()->clearLastError(), OK);
        mRemote.clear();
    }
}

TEST_F(KernelCalls, GoesOnWhenInterrupted) {
    mDriver.fail(-EINTR, 0);
    mDriver.fail(-EINTR);
    mDriver.answer(Answer());
    mDriver.answer(Answer().add(BR_TRANSACTION_COMPLETE).add(BR_REPLY, words({1})));
    Parcel reply;
    EXPECT_EQ(call(&reply), OK);
    EXPECT_EQ(mDriver.count(BC_TRANSACTION), 1);
}

TEST_F(KernelCalls, ACallThatTheDriverRefusesIsNotSentLater) {
    mDriver.answer(Answer().add(BR_TRANSACTION_COMPLETE));
    ASSERT_EQ(call(nullptr, IBinder::FLAG_ONEWAY), OK);
    mDriver.fail(-EINVAL, 0);
    Parcel reply;
    EXPECT_EQ(call(&reply), -EINVAL);
    IPCThreadState::self()->flushCommands();
    EXPECT_EQ(mDriver.count(BC_TRANSACTION), 1);
    mDriver.answer(Answer().add(BR_REPLY, words({1})));
    EXPECT_EQ(call(&reply), OK);
}

TEST_F(KernelCalls, ARefusedReferenceDoesNotTakeTheCallWithIt) {
    IPCThreadState::self()->flushCommands();
    IPCThreadState::self()->incWeakHandle(kHandle, mRemote->remoteBinder());
    mDriver.fail(-EINVAL, 0);
    mDriver.answer(Answer().add(BR_REPLY, words({1})));
    Parcel reply;
    EXPECT_EQ(call(&reply), OK);
    EXPECT_EQ(mDriver.count(BC_INCREFS), 1);
}

TEST_F(KernelCalls, DeathIsRemembered) {
    mDriver.answer(Answer().add(BR_DEAD_REPLY));
    EXPECT_EQ(call(nullptr), DEAD_OBJECT);
    EXPECT_FALSE(mRemote->isBinderAlive());
    EXPECT_EQ(call(nullptr), DEAD_OBJECT);
    EXPECT_EQ(mDriver.count(BC_TRANSACTION), 1);
}

TEST_F(KernelCalls, ServesACallAndNamesTheCaller) {
    const sp<LocalObject> object = new LocalObject;
    object->onCall = [](const Parcel&, Parcel* reply) {
        EXPECT_EQ(IPCThreadState::self()->clearCallingIdentity(), (int64_t{1000} << 32) | 99);
        EXPECT_EQ(IPCThreadState::self()->getCallingPid(), getpid());
        return reply->writeInt32(4711);
    };
    binder_transaction_data request = callOf(object, {17});
    request.sender_pid = 99;
    request.sender_euid = 1000;
    mDriver.onCall = [this](const FakeDriver::Command& command) {
        const auto sent = command.as<binder_transaction_data>();
        EXPECT_EQ(command.code, static_cast<uint32_t>(BC_REPLY));
        EXPECT_EQ(sent.flags, 0u);
        EXPECT_EQ(*reinterpret_cast<const int32_t*>(sent.data.ptr.buffer), 4711);
        EXPECT_EQ(mDriver.buffersOut(), 0u) << "the request goes back before the reply goes out";
        return Answer().add(BR_TRANSACTION_COMPLETE);
    };
    mDriver.answer(Answer().add(BR_TRANSACTION, request));
    serve();
    ASSERT_EQ(object->calls.size(), 1u);
    EXPECT_EQ(object->calls[0].code, kCode);
    EXPECT_EQ(object->calls[0].word, 17);
    EXPECT_EQ(object->calls[0].pid, 99);
    EXPECT_EQ(object->calls[0].uid, 1000u);
    EXPECT_EQ(IPCThreadState::self()->getCallingPid(), getpid());
    EXPECT_EQ(IPCThreadState::self()->getCallingUid(), getuid());
}

TEST_F(KernelCalls, AnswersAFailedCallWithItsStatus) {
    const sp<LocalObject> object = new LocalObject;
    object->onCall = [](const Parcel&, Parcel* reply) {
        reply->writeInt32(1);
        return status_t{BAD_VALUE};
    };
    int32_t status = 0;
    mDriver.onCall = [&](const FakeDriver::Command& command) {
        const auto sent = command.as<binder_transaction_data>();
        EXPECT_EQ(sent.flags, static_cast<uint32_t>(TF_STATUS_CODE));
        EXPECT_EQ(sent.data_size, sizeof(status));
        status = *reinterpret_cast<const int32_t*>(sent.data.ptr.buffer);
        return Answer().add(BR_TRANSACTION_COMPLETE);
    };
    binder_transaction_data_secctx request{};
    request.transaction_data = callOf(object);
    mDriver.answer(Answer().add(BR_TRANSACTION_SEC_CTX, request));
    serve();
    EXPECT_EQ(status, BAD_VALUE);

    const struct {
        const char* what;
        std::function<void(binder_transaction_data&)> spoil;
        status_t expected;
    } cases[] = {
        {"nobody there", [](auto& call) { call.target.ptr = 0; }, UNKNOWN_TRANSACTION},
        {"data outside", [](auto& call) { call.data_size = 2 << 20; }, FAILED_TRANSACTION},
        {"objects outside",
         [](auto& call) {
             call.offsets_size = 8;
             call.data.ptr.offsets = 0x1000;
         },
         FAILED_TRANSACTION},
    };
    for (const auto& row : cases) {
        binder_transaction_data call = callOf(object, {1});
        row.spoil(call);
        mDriver.answer(Answer().add(BR_TRANSACTION, call));
        serve();
        EXPECT_EQ(status, row.expected) << row.what;
    }
    EXPECT_EQ(object->calls.size(), 1u);
}

TEST_F(KernelCalls, AnswersNothingToAOneWayCall) {
    const sp<LocalObject> object = new LocalObject;
    for (const status_t status : {status_t{OK}, status_t{BAD_VALUE}}) {
        object->onCall = [=](const Parcel&, Parcel* reply) {
            reply->writeInt32(1);
            return status;
        };
        binder_transaction_data call = callOf(object);
        call.flags = TF_ONE_WAY;
        mDriver.answer(Answer().add(BR_TRANSACTION, call));
        serve();
    }
    EXPECT_EQ(object->calls.size(), 2u);
    EXPECT_EQ(mDriver.count(BC_REPLY), 0);
}

TEST_F(KernelCalls, ServesWhileItWaits) {
    const sp<LocalObject> object = new LocalObject;
    object->onCall = [this](const Parcel&, Parcel*) { return call(nullptr); };
    int transactions = 0;
    mDriver.onCall = [&](const FakeDriver::Command& command) {
        if (command.code == BC_REPLY) {
            return Answer().add(BR_TRANSACTION_COMPLETE);
        }
        if (++transactions == 1) {
            mDriver.answer(Answer().add(BR_REPLY, words({100})));
            return Answer().add(BR_TRANSACTION_COMPLETE).add(BR_TRANSACTION, callOf(object));
        }
        return Answer().add(BR_TRANSACTION_COMPLETE).add(BR_REPLY, words({200}));
    };
    Parcel reply;
    ASSERT_EQ(call(&reply), OK);
    EXPECT_EQ(reply.readInt32(), 100);
    EXPECT_EQ(object->calls.size(), 1u);
    EXPECT_EQ(transactions, 2);
    EXPECT_EQ(mDriver.count(BC_REPLY), 1);
}

TEST_F(KernelCalls, DoesNotNestForEver) {
    const sp<LocalObject> object = new LocalObject;
    object->onCall = [this](const Parcel&, Parcel*) { return call(nullptr); };
    bool refused = false;
    mDriver.onCall = [&](const FakeDriver::Command& command) {
        if (command.code == BC_REPLY) {
            refused = true;
            return Answer().add(BR_TRANSACTION_COMPLETE);
        }
        return refused ? Answer().add(BR_FAILED_REPLY)
                       : Answer().add(BR_TRANSACTION, callOf(object));
    };
    EXPECT_NE(call(nullptr), OK);
    EXPECT_LE(object->calls.size(), 100u);
}

TEST_F(KernelCalls, ClosesTheDescriptorsThatItGot) {
    const sp<LocalObject> object = new LocalObject;
    const int descriptor = open("/dev/null", O_RDONLY);
    object->onCall = [&](const Parcel& data, Parcel*) {
        data.setDataPosition(0);
        EXPECT_EQ(data.readFileDescriptor(), descriptor);
        return status_t{OK};
    };
    flat_binder_object sent{};
    sent.hdr.type = BINDER_TYPE_FD;
    sent.handle = static_cast<uint32_t>(descriptor);
    mDriver.onCall = [](const FakeDriver::Command&) {
        return Answer().add(BR_TRANSACTION_COMPLETE);
    };
    mDriver.answer(Answer().add(
        BR_TRANSACTION,
        FakeDriver::CallOf(object.get(), kCode, mDriver.receive(&sent, sizeof(sent), {0}))));
    serve();
    EXPECT_EQ(object->calls.size(), 1u);
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
}

TEST_F(KernelCalls, AReplyThatIsWrittenToKeepsItsDescriptors) {
    const int descriptor = open("/dev/null", O_RDONLY);
    flat_binder_object sent{};
    sent.hdr.type = BINDER_TYPE_FD;
    sent.handle = static_cast<uint32_t>(descriptor);
    sent.cookie = 1;
    mDriver.answer(Answer().add(BR_REPLY, mDriver.receive(&sent, sizeof(sent), {0})));
    Parcel reply;
    ASSERT_EQ(call(&reply), OK);
    reply.setDataPosition(reply.dataSize());
    reply.writeInt32(1);
    reply.setDataPosition(0);
    const int kept = reply.readFileDescriptor();
    EXPECT_NE(fcntl(kept, F_GETFD), -1);
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
    reply.freeData();
    EXPECT_EQ(fcntl(kept, F_GETFD), -1);
}

}  // namespace
}  // namespace KVT::test

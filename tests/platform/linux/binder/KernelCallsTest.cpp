// SPDX-License-Identifier: Apache-2.0
// Calls out of and into the process, against a fake driver.
#include <fcntl.h>
#include <unistd.h>

#include "tests/platform/linux/binder/DriverTest.h"
#include "tests/support/Bytes.h"

namespace KVT::test {
namespace {

using namespace android;

class KernelCalls : public DriverTest {
  protected:
    status_t call(Parcel* reply, uint32_t flags = 0) {
        Parcel data;
        data.writeInt32(5);
        return mRemote->transact(kCode, data, reply, flags);
    }

    Answer replyOf(const std::vector<int32_t>& words, uint32_t flags = 0) {
        return Answer().add(BR_REPLY, mDriver.receiveWords(words, flags));
    }

    /** A call's or reply's data with one descriptor, which the receiver owns or not. */
    binder_transaction_data receiveDescriptor(int descriptor, bool owned) {
        flat_binder_object sent{};
        sent.hdr.type = BINDER_TYPE_FD;
        sent.handle = static_cast<uint32_t>(descriptor);
        sent.cookie = owned;
        return mDriver.receive(&sent, sizeof(sent), {0});
    }

    /** The only reply that was sent: its data, a word, and its flags. */
    void expectReply(int32_t word, uint32_t flags) {
        ASSERT_EQ(mDriver.count(BC_REPLY), 1);
        const FakeDriver::Command reply = mDriver.commands(BC_REPLY)[0];
        EXPECT_EQ(reply.as<binder_transaction_data>().flags, flags);
        Parcel expected;
        expected.writeInt32(word);
        EXPECT_EQ(reply.data, BytesOf(expected));
        mDriver.forgetCommands();
    }

    sp<IBinder> mRemote = proxy();
    const sp<LocalObject> mObject = new LocalObject;
};

TEST_F(KernelCalls, SendsTheRequestAndReadsTheReplyInPlace) {
    mDriver.answer(Answer().add(BR_NOOP).add(BR_TRANSACTION_COMPLETE));
    mDriver.answer(replyOf({6, 7}));
    Parcel reply;
    ASSERT_EQ(call(&reply), OK);
    const FakeDriver::Command request = mDriver.commands(BC_TRANSACTION).at(0);
    const auto sent = request.as<binder_transaction_data>();
    EXPECT_EQ(sent.target.handle, 7u);
    EXPECT_EQ(sent.code, kCode);
    EXPECT_EQ(sent.flags, static_cast<uint32_t>(TF_ACCEPT_FDS));
    EXPECT_EQ(request.data, (std::vector<uint8_t>{5, 0, 0, 0}));
    EXPECT_EQ(sent.offsets_size, 0u);
    EXPECT_EQ(reply.readInt32(), 6);
    EXPECT_EQ(reply.readInt32(), 7);
    EXPECT_EQ(mDriver.owed(FakeDriver::kBuffers).size(), 1u);
    reply.freeData();
    mDriver.answer(replyOf({8}));
    ASSERT_EQ(call(nullptr), OK) << "a reply that the caller does not want";
}

TEST_F(KernelCalls, AOneWayCallLeavesNoConfirmationUnsent) {
    const binder_ptr_cookie name = NameOf(mObject.get());
    mDriver.answer(
        Answer().add(BR_INCREFS, name).add(BR_ACQUIRE, name).add(BR_TRANSACTION_COMPLETE));
    EXPECT_EQ(call(nullptr, IBinder::FLAG_ONEWAY), OK);
    EXPECT_EQ(mDriver.count(BC_ACQUIRE_DONE), 1);
    serve(Answer().add(BR_RELEASE, name).add(BR_DECREFS, name));
}

TEST_F(KernelCalls, EndWithTheDriversAnswer) {
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
        {"status reply", replyOf({PERMISSION_DENIED}, TF_STATUS_CODE), 0, PERMISSION_DENIED},
        {"error", Answer().add(BR_ERROR, int32_t{-5}), 0, -5},
        {"error that is none", Answer().add(BR_ERROR, int32_t{5}), 0, UNKNOWN_ERROR},
        {"one-way, taken", Answer().add(BR_TRANSACTION_COMPLETE), TF_ONE_WAY, OK},
        {"one-way, spam", Answer().add(BR_ONEWAY_SPAM_SUSPECT), TF_ONE_WAY, OK},
        {"one-way, frozen", Answer().add(kFrozenLater), TF_ONE_WAY, OK},
        {"passed over", Answer().add(kUnknown, int64_t{0}).add(BR_FAILED_REPLY), 0,
         FAILED_TRANSACTION},
        {"no driver's command", Answer().add(kNotOurs, 1).add(BR_DEAD_REPLY), 0, UNKNOWN_ERROR},
        {"unknown and too long", Answer().add(kTooLong), 0, UNKNOWN_ERROR},
        {"unknown and cut off", Answer().add(kUnknown), 0, NOT_ENOUGH_DATA},
        {"half a command", Answer().bytes("ab", 2), 0, NOT_ENOUGH_DATA},
        {"half a reply", Answer().add(BR_REPLY, int64_t{1}), 0, NOT_ENOUGH_DATA},
        {"empty, then no answer", Answer(), 0, -ECONNREFUSED},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        mRemote = proxy();  // a fresh one each time, as a death is remembered
        mDriver.answer(row.answer);
        Parcel reply;
        EXPECT_EQ(call(&reply, row.flags), row.expected);
        EXPECT_EQ(reply.dataSize(), 0u);
        EXPECT_EQ(IPCThreadState::self()->clearLastError(), row.expected);
        EXPECT_EQ(IPCThreadState::self()->clearLastError(), OK);
        mRemote.clear();
    }
}

TEST_F(KernelCalls, GoOnWhenInterrupted) {
    mDriver.fail(-EINTR, 0);
    mDriver.fail(-EINTR);
    mDriver.answer(Answer());
    mDriver.answer(replyOf({1}));
    Parcel reply;
    EXPECT_EQ(call(&reply), OK);
    EXPECT_EQ(mDriver.count(BC_TRANSACTION), 1);
}

TEST_F(KernelCalls, ThatTheDriverRefusesAreNotSentLater) {
    flush();
    mDriver.fail(-EINVAL, 0);
    Parcel reply;
    EXPECT_EQ(call(&reply), -EINVAL);
    flush();
    EXPECT_EQ(mDriver.count(BC_TRANSACTION), 0);
    mDriver.answer(replyOf({1}));
    EXPECT_EQ(call(&reply), OK);
}

TEST_F(KernelCalls, AreNotTakenAlongByARefusedReference) {
    flush();
    IPCThreadState::self()->incWeakHandle(7, mRemote->remoteBinder());
    mDriver.fail(-EINVAL, 0);
    mDriver.answer(replyOf({1}));
    Parcel reply;
    EXPECT_EQ(call(&reply), OK);
    EXPECT_EQ(mDriver.count(BC_INCREFS), 1);
}

TEST_F(KernelCalls, AreNotMadeToTheDead) {
    mDriver.answer(Answer().add(BR_DEAD_REPLY));
    EXPECT_EQ(call(nullptr), DEAD_OBJECT);
    EXPECT_FALSE(mRemote->isBinderAlive());
    EXPECT_EQ(call(nullptr), DEAD_OBJECT);
    EXPECT_EQ(mDriver.count(BC_TRANSACTION), 1);
}

TEST_F(KernelCalls, AreServedAndNameTheCaller) {
    mObject->onCall = [](const Parcel&, Parcel* reply) {
        IPCThreadState* const thread = IPCThreadState::self();
        const int64_t caller = thread->clearCallingIdentity();
        EXPECT_EQ(caller, (int64_t{1000} << 32) | 99);
        EXPECT_EQ(thread->getCallingPid(), getpid());
        EXPECT_EQ(thread->getCallingUid(), getuid());
        thread->restoreCallingIdentity(caller);
        EXPECT_EQ(thread->getCallingPid(), 99);
        EXPECT_EQ(thread->getCallingUid(), 1000u);
        return reply->writeInt32(4711);
    };
    mDriver.onCommand = [this](const FakeDriver::Command& command) -> std::optional<Answer> {
        if (command.code != BC_REPLY) {
            return std::nullopt;
        }
        EXPECT_EQ(mDriver.count(BC_FREE_BUFFER), 1) << "the request goes back before the reply";
        return Answer().add(BR_TRANSACTION_COMPLETE);
    };
    binder_transaction_data request = callOf(mObject, {17});
    request.sender_pid = 99;
    request.sender_euid = 1000;
    serve(Answer().add(BR_TRANSACTION, request));
    expectReply(4711, 0);
    ASSERT_EQ(mObject->calls.size(), 1u);
    EXPECT_EQ(mObject->calls[0].code, kCode);
    EXPECT_EQ(mObject->calls[0].word, 17);
    EXPECT_EQ(mObject->calls[0].pid, 99);
    EXPECT_EQ(mObject->calls[0].uid, 1000u);
    EXPECT_EQ(IPCThreadState::self()->getCallingPid(), getpid());
    EXPECT_EQ(IPCThreadState::self()->getCallingUid(), getuid());
}

TEST_F(KernelCalls, ThatFailAreAnsweredWithTheirStatus) {
    mObject->onCall = [](const Parcel&, Parcel* reply) {
        reply->writeInt32(1);
        return status_t{BAD_VALUE};
    };
    binder_transaction_data_secctx request{};
    request.transaction_data = callOf(mObject);
    serve(Answer().add(BR_TRANSACTION_SEC_CTX, request));
    expectReply(BAD_VALUE, TF_STATUS_CODE);

    binder_transaction_data toNobody = callOf(mObject);
    toNobody.target.ptr = 0;
    binder_transaction_data dataOutside = callOf(mObject);
    dataOutside.data_size = 2 << 20;
    binder_transaction_data objectsOutside = callOf(mObject);
    objectsOutside.offsets_size = 8;
    objectsOutside.data.ptr.offsets = 0x1000;
    for (const auto& [call, expected] : {std::pair(toNobody, UNKNOWN_TRANSACTION),
                                         {dataOutside, FAILED_TRANSACTION},
                                         {objectsOutside, FAILED_TRANSACTION}}) {
        serve(Answer().add(BR_TRANSACTION, call));
        expectReply(expected, TF_STATUS_CODE);
    }
    EXPECT_EQ(mObject->calls.size(), 1u);
}

TEST_F(KernelCalls, ThatAreOneWayGetNoAnswer) {
    for (const status_t status : {status_t{OK}, status_t{BAD_VALUE}}) {
        mObject->onCall = [=](const Parcel&, Parcel* reply) {
            flush();
            EXPECT_EQ(mDriver.owed(FakeDriver::kBuffers).size(), 1u) << "the next one is to wait";
            reply->writeInt32(1);
            return status;
        };
        serve(Answer().add(BR_TRANSACTION, callOf(mObject, {}, TF_ONE_WAY)));
    }
    EXPECT_EQ(mObject->calls.size(), 2u);
    EXPECT_EQ(mDriver.count(BC_REPLY), 0);
}

TEST_F(KernelCalls, AreServedWhileOneWaits) {
    mObject->onCall = [this](const Parcel&, Parcel*) {
        mDriver.answer(replyOf({200}));
        mDriver.answer(replyOf({100}));
        Parcel reply;
        EXPECT_EQ(call(&reply), OK);
        EXPECT_EQ(reply.readInt32(), 200);
        return status_t{OK};
    };
    mDriver.answer(Answer().add(BR_TRANSACTION_COMPLETE).add(BR_TRANSACTION, callOf(mObject)));
    Parcel reply;
    ASSERT_EQ(call(&reply), OK);
    EXPECT_EQ(reply.readInt32(), 100);
    EXPECT_EQ(mObject->calls.size(), 1u);
    EXPECT_EQ(mDriver.count(BC_TRANSACTION), 2);
    EXPECT_EQ(mDriver.count(BC_REPLY), 1);
}

TEST_F(KernelCalls, AreNotEndedByWhatEndsARefusedOne) {
    constexpr size_t kDeepest = 100;
    std::vector<status_t> oneWay;
    mObject->onCall = [&](const Parcel&, Parcel*) {
        if (mObject->calls.size() < kDeepest) {
            return call(nullptr);
        }
        oneWay = {call(nullptr, IBinder::FLAG_ONEWAY), call(nullptr, IBinder::FLAG_ONEWAY)};
        return status_t{OK};
    };
    mDriver.onCommand = [this](const FakeDriver::Command& command) -> std::optional<Answer> {
        if (command.code == BC_REPLY) {
            return Answer().add(BR_TRANSACTION_COMPLETE);
        }
        if (command.code != BC_TRANSACTION) {
            return std::nullopt;
        }
        if (mDriver.count(BC_REPLY) > 0) {
            mDriver.answer(Answer().add(BR_FAILED_REPLY));  // behind what waits
            return std::nullopt;
        }
        const bool isOneWay = command.as<binder_transaction_data>().flags & TF_ONE_WAY;
        const Answer next = Answer().add(BR_TRANSACTION, callOf(mObject));
        return isOneWay ? Answer(next).add(BR_TRANSACTION_COMPLETE) : next;
    };
    call(nullptr);
    EXPECT_EQ(oneWay, (std::vector<status_t>{OK, FAILED_TRANSACTION}));
}

TEST_F(KernelCalls, CarryADumpsDescriptorAndArguments) {
    Vector<String16> arguments;
    arguments.add(String16("-a"));
    mDriver.answer(replyOf({}));
    EXPECT_EQ(mRemote->dump(1, arguments), OK);
    const FakeDriver::Command request = mDriver.commands(BC_TRANSACTION).at(0);
    const auto sent = request.as<binder_transaction_data>();
    EXPECT_EQ(sent.code, uint32_t{IBinder::DUMP_TRANSACTION});
    EXPECT_EQ(sent.offsets_size, sizeof(binder_size_t));
    EXPECT_EQ(request.data, FromHex("852a6466 7f010000 0100000000000000 0000000000000000"
                                    "01000000 02000000 ~'-a' 00000000"));
}

TEST_F(KernelCalls, CloseTheDescriptorsThatTheyBrought) {
    const int descriptor = open("/dev/null", O_RDONLY);
    mObject->onCall = [=](const Parcel& data, Parcel*) {
        data.setDataPosition(0);
        EXPECT_EQ(data.readFileDescriptor(), descriptor);
        return status_t{OK};
    };
    serve(Answer().add(BR_TRANSACTION, FakeDriver::CallOf(mObject.get(), kCode,
                                                          receiveDescriptor(descriptor, false))));
    EXPECT_EQ(mObject->calls.size(), 1u);
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
}

TEST_F(KernelCalls, LeaveTheirDescriptorsToAReplyThatIsWrittenTo) {
    const int descriptor = open("/dev/null", O_RDONLY);
    mDriver.answer(Answer().add(BR_REPLY, receiveDescriptor(descriptor, true)));
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

// SPDX-License-Identifier: Apache-2.0
// The driver says whatever the fuzzer wants, at any time: to a process that calls, serves, watches
// deaths and drops proxies. A driver is believed the addresses that it got from the process itself,
// so those are always good; everything else is open: kinds and order of commands, lengths, contents
// of calls, where objects stand, what is cut off.
//
// Afterwards the books must balance: every buffer given back, every reference released.
#include <android/log.h>
#include <binder/BpBinder.h>
#include <binder/IPCThreadState.h>
#include <binder/ProcessState.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <iterator>

#include "fuzz/FuzzInput.h"
#include "tests/platform/linux/binder/FakeDriver.h"

namespace KVT::fuzz {
namespace {

using namespace android;
using test::Answer;
using test::FakeDriver;
using test::NameOf;

constexpr size_t kObjects = 3;
constexpr int32_t kProxies = 3;

// The runtime reads this much at a time, and a driver never cuts a command in two.
constexpr size_t kRoom = 256;
constexpr size_t kLongestCommand = 4 + sizeof(binder_transaction_data_secctx);

class Watcher : public IBinder::DeathRecipient {
  public:
    void binderDied(const wp<IBinder>& who) override { who.promote(); }
};

/** Does a little of everything with what it gets, and has the process act in between. */
class Object : public BBinder {
  public:
    explicit Object(std::function<void()> act) : mAct(std::move(act)) {}

  protected:
    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) override {
        const sp<IBinder> got = data.readStrongBinder();
        data.readFileDescriptor();
        data.readString16();
        if (code % 2 == 0) {
            mAct();
        }
        reply->writeStrongBinder(got);
        return BBinder::onTransact(code, data, reply, flags);
    }

  private:
    const std::function<void()> mAct;
};

class Session {
  public:
    Session(const uint8_t* data, size_t size) : mInput(data, size) {
        for (sp<Object>& object : mObjects) {
            object = new Object([this] { act(); });
        }
    }

    void run() {
        // Answered before it was sent, as no real driver does, a call is sent without its data.
        mDriver.keepsData = false;
        mDriver.onRead = [this] { return nextAnswer(); };
        while (!mInput.empty()) {
            act();
        }
        settle();
    }

  private:
    /** One thing that a process does with binder. */
    void act() {
        if (mInput.empty()) {
            return;  // a call that is served while everything is being put away
        }
        IPCThreadState* const thread = IPCThreadState::self();
        sp<IBinder>& proxy = mProxies[mInput.pick(kProxies)];
        if (proxy == nullptr) {
            proxy = ProcessState::self()->getStrongProxyForHandle(
                1 + static_cast<int32_t>(&proxy - mProxies));
        }
        const sp<IBinder> used = proxy;
        Parcel data;
        Parcel reply;
        data.writeStrongBinder(mInput.pickFrom(mObjects));
        const std::function<void()> deeds[] = {
            [&] { thread->joinThreadPool(false); },
            [&] { thread->handlePolledCommands(); },
            [&] { used->transact(1, data, nullptr, IBinder::FLAG_ONEWAY); },
            [&] { used->linkToDeath(mWatcher); },
            [&] { used->unlinkToDeath(mWatcher); },
            [&] { proxy.clear(); },
            [&] { used->getInterfaceDescriptor(); },
            [&] {
                used->transact(1, data, &reply);
                reply.readStrongBinder();
                reply.readInt32();
            },
        };
        mInput.pickFrom(deeds)();
    }

    std::optional<Answer> nextAnswer() {
        if (mInput.empty()) {
            return std::nullopt;
        }
        Answer answer;
        for (size_t commands = 1 + mInput.pick(4); commands > 0; --commands) {
            if (answer.get().size() + kLongestCommand > kRoom || !addCommand(&answer)) {
                break;
            }
        }
        return answer;
    }

    /** @return false when nothing that follows would be understood */
    bool addCommand(Answer* answer) {
        static constexpr uint32_t kPlain[] = {
            BR_OK,         BR_NOOP,         BR_TRANSACTION_COMPLETE,
            BR_DEAD_REPLY, BR_FAILED_REPLY, BR_FROZEN_REPLY,
            BR_FINISHED,   BR_SPAWN_LOOPER, BR_ONEWAY_SPAM_SUSPECT,
        };
        constexpr size_t kGarbage = 5;
        const std::function<void()> additions[] = {
            [&] { answer->add(mInput.pickFrom(kPlain)); },
            [&] { answer->add(BR_ERROR, mInput.take<int32_t>()); },
            [&] { addReference(answer, true); },
            [&] { addReference(answer, false); },
            [&] { addDeath(answer); },
            [&] { addGarbage(answer); },
            [&] { mDriver.fail(-EINTR, mInput.pick(64)); },
            [&] { answer->add(BR_REPLY, body()); },
            [&] { addCall(answer); },
            [&] { addCall(answer); },
        };
        const size_t kind = mInput.pick(std::size(additions));
        additions[kind]();
        return kind != kGarbage;
    }

    /** The driver takes a reference to a local object, or gives back a confirmed one. */
    void addReference(Answer* answer, bool taken) {
        const bool weak = mInput.pick(2) == 0;
        const binder_ptr_cookie name = NameOf(mInput.pickFrom(mObjects).get());
        if (taken) {
            answer->add(weak ? BR_INCREFS : BR_ACQUIRE, name);
        } else if (mDriver.settle(weak ? FakeDriver::kConfirmedWeak : FakeDriver::kConfirmedStrong,
                                  name.cookie)) {
            answer->add(weak ? BR_DECREFS : BR_RELEASE, name);
        }
    }

    void addDeath(Answer* answer) {
        const bool withdrawn = mInput.pick(2) == 0;
        const auto requests =
            mDriver.owed(withdrawn ? FakeDriver::kWithdrawnRequests : FakeDriver::kDeathRequests);
        if (requests.empty()) {
            return;
        }
        const binder_uintptr_t cookie = requests[mInput.pick(requests.size())];
        answer->add(withdrawn ? BR_CLEAR_DEATH_NOTIFICATION_DONE : BR_DEAD_BINDER, cookie);
        if (withdrawn) {
            mDriver.settle(FakeDriver::kWithdrawnRequests, cookie);
        }
    }

    /** A command that is unknown, or known and cut off. */
    void addGarbage(Answer* answer) {
        static constexpr uint32_t kWithArgument[] = {
            BR_ERROR,   BR_TRANSACTION, BR_TRANSACTION_SEC_CTX, BR_REPLY, BR_INCREFS, BR_ACQUIRE,
            BR_RELEASE, BR_DECREFS,     BR_DEAD_BINDER,
        };
        constexpr uint32_t kNoKnownNumber = 0x80;
        const bool known = mInput.pick(2) == 0;
        const uint32_t command =
            known ? mInput.pickFrom(kWithArgument) : mInput.take<uint32_t>() | kNoKnownNumber;
        const size_t size = known ? mInput.pick(_IOC_SIZE(command)) : _IOC_SIZE(command);
        const auto argument = mInput.bytes(std::min(size, kRoom - 4 - answer->get().size()));
        answer->add(command).bytes(argument.data(), argument.size());
    }

    void addCall(Answer* answer) {
        binder_transaction_data call = body();
        if (const size_t target = mInput.pick(kObjects + 1); target < kObjects) {
            call = FakeDriver::CallOf(mObjects[target].get(), call.code, call);
        }
        answer->add(BR_TRANSACTION, call);
    }

    flat_binder_object object() {
        flat_binder_object object{};
        object.flags = mInput.take<uint8_t>();
        switch (mInput.pick(4)) {
            case 0: {
                const binder_ptr_cookie name = NameOf(mInput.pickFrom(mObjects).get());
                object.hdr.type = BINDER_TYPE_BINDER;
                object.binder = name.ptr;
                object.cookie = name.cookie;
                break;
            }
            case 1:
                object.hdr.type = BINDER_TYPE_HANDLE;
                object.handle = mInput.take<uint32_t>();
                break;
            case 2:
                object.hdr.type = BINDER_TYPE_FD;
                mDescriptors.push_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
                object.handle = static_cast<uint32_t>(mDescriptors.back());
                object.cookie = mInput.pick(2);
                break;
            default:
                // A kind that the runtime knows no objects of.
                object.hdr.type = mInput.take<uint32_t>() & 0xffff;
                object.binder = mInput.take<uint64_t>();
        }
        return object;
    }

    binder_transaction_data body() {
        std::vector<uint8_t> bytes = mInput.bytes(mInput.pick(128));
        std::vector<binder_size_t> offsets;
        binder_size_t end = 0;
        for (size_t count = mInput.pick(4); count > 0; --count) {
            const binder_size_t offset = mInput.pick(160);
            offsets.push_back(offset);
            if (offset >= end && offset + sizeof(flat_binder_object) <= bytes.size()) {
                const flat_binder_object placed = object();
                memcpy(&bytes[offset], &placed, sizeof(placed));
                end = offset + sizeof(placed);
            } else {
                break;  // the runtime believes none of the table
            }
        }
        binder_transaction_data received = mDriver.receive(bytes.data(), bytes.size(), offsets);
        received.code = mInput.take<uint32_t>();
        received.flags = mInput.take<uint8_t>();
        received.sender_pid = mInput.take<int32_t>();
        if (offsets.empty() && mInput.pick(16) == 0) {
            received.data_size = mInput.take<uint64_t>();
        }
        if (mInput.pick(16) == 0) {
            // Outside the receive buffers, or at an odd place in them.
            received.data.ptr.offsets =
                mInput.pick(2) == 0 ? mInput.take<uint16_t>() : received.data.ptr.offsets | 1;
            received.offsets_size = 8;
        }
        return received;
    }

    /** The driver takes back whatever it still holds; then nothing may be left. */
    void settle() {
        mDriver.onRead = nullptr;
        for (sp<IBinder>& proxy : mProxies) {
            proxy.clear();
        }
        IPCThreadState::self()->joinThreadPool();
        balance();
        IPCThreadState::self()->joinThreadPool();
        IPCThreadState::self()->flushCommands();
        Require(mDriver.owed(FakeDriver::kBuffers).empty(), "a receive buffer was not given back");
        Require(
            mDriver.owed(FakeDriver::kStrong).empty() && mDriver.owed(FakeDriver::kWeak).empty(),
            "a reference to a remote object is left");
        Require(mDriver.faults() == 0, "something was given back that was not held");
        for (const sp<Object>& object : mObjects) {
            Require(object->getStrongCount() == 1, "a local object is held for nobody");
        }
        mDriver.forgetCommands();
        for (const int descriptor : mDescriptors) {
            close(descriptor);  // a table of objects that was not believed left it open
        }
    }

    void balance() {
        for (const sp<Object>& object : mObjects) {
            const binder_ptr_cookie name = NameOf(object.get());
            while (mDriver.settle(FakeDriver::kConfirmedStrong, name.cookie)) {
                mDriver.answer(Answer().add(BR_RELEASE, name));
            }
            while (mDriver.settle(FakeDriver::kConfirmedWeak, name.cookie)) {
                mDriver.answer(Answer().add(BR_DECREFS, name));
            }
        }
        // Whoever is still watched dies, so that proxies that nobody else holds come to their end.
        for (const binder_uintptr_t cookie : mDriver.owed(FakeDriver::kDeathRequests)) {
            mDriver.answer(Answer().add(BR_DEAD_BINDER, cookie));
        }
        IPCThreadState::self()->joinThreadPool();
        for (const binder_uintptr_t cookie : mDriver.owed(FakeDriver::kWithdrawnRequests)) {
            mDriver.answer(Answer().add(BR_CLEAR_DEATH_NOTIFICATION_DONE, cookie));
            mDriver.settle(FakeDriver::kWithdrawnRequests, cookie);
        }
    }

    FuzzInput mInput;
    FakeDriver& mDriver = FakeDriver::Get();
    sp<Object> mObjects[kObjects];
    sp<IBinder> mProxies[kProxies];
    std::vector<int> mDescriptors;
    const sp<Watcher> mWatcher = new Watcher;
};

void DropLine(const __android_logger_data*, const char*) {}

}  // namespace
}  // namespace KVT::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    __android_log_set_logger(KVT::fuzz::DropLine);
    KVT::fuzz::Session(data, size).run();
    return 0;
}

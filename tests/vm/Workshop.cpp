// SPDX-License-Identifier: Apache-2.0
#include "tests/vm/Workshop.h"

#include <binder/IPCThreadState.h>
#include <binder/ProcessState.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "sync/Clock.h"
#include "tests/vm/Processes.h"

namespace KVT::test {

using android::BBinder;
using android::IBinder;
using android::IPCThreadState;
using android::OK;
using android::Parcel;
using android::ProcessState;
using android::sp;
using android::status_t;
using android::String16;

namespace {

std::atomic<int32_t> sAlive{0};

class Product : public BBinder {
  public:
    Product() { ++sAlive; }

  protected:
    ~Product() override { --sAlive; }
};

}  // namespace

const String16& Workshop::getInterfaceDescriptor() const {
    static const String16 descriptor("test.Workshop");
    return descriptor;
}

status_t Workshop::onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) {
    switch (code) {
        case kEcho:
            return reply->write(data.data(), data.dataSize());
        case kBounce:
            return bounce(data, reply);
        case kAppend: {
            MutexLock lock(mMutex);
            mAppended.push_back(data.readInt32());
            return OK;
        }
        case kAppended: {
            MutexLock lock(mMutex);
            reply->writeInt32(static_cast<int32_t>(mAppended.size()));
            return reply->write(mAppended.data(), mAppended.size() * sizeof(mAppended[0]));
        }
        case kWho:
            reply->writeInt32(IPCThreadState::self()->getCallingPid());
            return reply->writeInt32(static_cast<int32_t>(IPCThreadState::self()->getCallingUid()));
        case kWriteTo:
            return write(data.readFileDescriptor(), "hello", 5) == 5 ? OK : android::BAD_VALUE;
        case kMake:
            return reply->writeStrongBinder(new Product);
        case kAlive:
            return reply->writeInt32(sAlive);
        case kKeep: {
            sp<IBinder> kept = data.readStrongBinder();
            MutexLock lock(mMutex);
            std::swap(mKept, kept);
            return OK;
        }
        case kReturn:
            return reply->writeStrongBinder(data.readStrongBinder());
        case kPid:
            return reply->writeInt32(getpid());
        case kFail:
            return data.readInt32();
        case kDie:
            _exit(0);
        case kMeet:
            meet(data.readInt32());
            return OK;
        case kBig:
            reply->writeInplace(static_cast<size_t>(data.readInt32()));
            return OK;
        default:
            return BBinder::onTransact(code, data, reply, flags);
    }
}

status_t Workshop::bounce(const Parcel& data, Parcel* reply) {
    const sp<IBinder> other = data.readStrongBinder();
    const int32_t times = data.readInt32();
    const pid_t caller = IPCThreadState::self()->getCallingPid();
    int32_t sum = 0;
    if (other == nullptr) {
        return android::BAD_VALUE;
    }
    if (times > 0) {
        Parcel request;
        Parcel answer;
        request.writeStrongBinder(this);
        request.writeInt32(times - 1);
        if (const status_t status = other->transact(kBounce, request, &answer); status != OK) {
            return status;
        }
        sum = answer.readInt32();
    }
    if (IPCThreadState::self()->getCallingPid() != caller) {
        return android::INVALID_OPERATION;  // the nested call left its caller behind
    }
    return reply->writeInt32(sum + 1);
}

void Workshop::meet(int32_t guests) {
    MutexLock lock(mMutex);
    if (++mWaiting < guests) {
        mMet.wait(mMutex);
    }
    mMet.signal();  // each wakes the next
}

void RunWorkshop(const char* name) {
    const sp<Workshop> workshop = new Workshop;
    ProcessState::self()->startThreadPool();
    ASSERT_EQ(Manager()->addService(String16(name), workshop), OK);
    IPCThreadState::self()->joinThreadPool();
}

sp<android::IServiceManager> Manager() {
    Eventually([] { return android::defaultServiceManager() != nullptr; });
    return android::defaultServiceManager();
}

sp<IBinder> Find(const char* name) {
    sp<IBinder> found = Manager()->getService(String16(name));
    EXPECT_NE(found, nullptr) << name;
    return found;
}

Parcel& Call(const sp<IBinder>& target, uint32_t code, Parcel* reply, int32_t argument) {
    Parcel data;
    data.writeInt32(argument);
    reply->freeData();
    EXPECT_EQ(target->transact(code, data, reply), OK) << "code " << code;
    return *reply;
}

}  // namespace KVT::test

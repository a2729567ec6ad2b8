// SPDX-License-Identifier: Apache-2.0
#include "tests/vm/Workshop.h"

#include <binder/IPCThreadState.h>
#include <binder/ProcessState.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <vector>

#include "sync/Condition.h"
#include "tests/vm/Processes.h"

namespace KVT::test {

using namespace android;

namespace {

std::atomic<int32_t> sAlive{0};

class Product : public BBinder {
  public:
    Product() { ++sAlive; }

  protected:
    ~Product() override { --sAlive; }
};

class Workshop : public BBinder {
  public:
    const String16& getInterfaceDescriptor() const override {
        static const String16 descriptor("test.Workshop");
        return descriptor;
    }

  protected:
    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) override;

  private:
    status_t bounce(const Parcel& data, Parcel* reply);
    void meet(int32_t guests);

    Mutex mMutex;
    Condition mMet GUARDED_BY(mMutex);
    int32_t mWaiting GUARDED_BY(mMutex) = 0;
    std::vector<int32_t> mAppended GUARDED_BY(mMutex);
    sp<IBinder> mKept GUARDED_BY(mMutex);
};

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
        case kPid:
            return reply->writeInt32(getpid());
        case kWriteTo:
            return write(data.readFileDescriptor(), "hello", 5) == 5 ? OK : BAD_VALUE;
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
        case kFail:
            return data.readInt32();
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
        return INVALID_OPERATION;  // the nested call left its caller behind
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

}  // namespace

sp<IBinder> NewWorkshop() {
    return new Workshop;
}

void RunWorkshop(const char* name) {
    ProcessState::self()->startThreadPool();
    ASSERT_EQ(Manager()->addService(String16(name), NewWorkshop()), OK);
    IPCThreadState::self()->joinThreadPool();
}

sp<IServiceManager> Manager() {
    Eventually([] { return defaultServiceManager() != nullptr; });
    return defaultServiceManager();
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

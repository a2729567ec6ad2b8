// SPDX-License-Identifier: Apache-2.0
#include <binder/BpBinder.h>
#include <binder/IPCThreadState.h>
#include <binder/Parcel.h>

#include <algorithm>

namespace android {

BpBinder::BpBinder(int32_t handle) : mHandle(handle) {
    // The memory lives as long as weak references do: the driver's death notices carry it.
    extendObjectLifetime(OBJECT_LIFETIME_WEAK);
    IPCThreadState::self()->incWeakHandle(handle, this);
}

BpBinder::~BpBinder() {
    ProcessState::self()->expungeHandle(mHandle, this);
    IPCThreadState::self()->decWeakHandle(mHandle);
}

void BpBinder::onFirstRef() {
    IPCThreadState::self()->incStrongHandle(mHandle, this);
}

void BpBinder::onLastStrongRef(const void*) {
    // The registrations stay: with the weak reference, which each holds, the driver still tells.
    IPCThreadState::self()->decStrongHandle(mHandle);
}

bool BpBinder::onIncStrongAttempted(uint32_t, const void*) {
    // The driver can not tell whether the remote object still has a strong reference.
    return false;
}

BpBinder* BpBinder::remoteBinder() {
    return this;
}

const String16& BpBinder::getInterfaceDescriptor() const {
    static const String16 unknown;
    {
        KVT::MutexLock lock(mMutex);
        if (mDescriptorKnown) {
            return mDescriptor;
        }
    }
    Parcel data;
    Parcel reply;
    if (const_cast<BpBinder*>(this)->transact(INTERFACE_TRANSACTION, data, &reply) != OK) {
        return unknown;
    }
    KVT::MutexLock lock(mMutex);
    if (!mDescriptorKnown) {
        mDescriptor = reply.readString16();
        mDescriptorKnown = true;
    }
    return mDescriptor;
}

bool BpBinder::isBinderAlive() const {
    return mAlive;
}

status_t BpBinder::pingBinder() {
    Parcel data;
    Parcel reply;
    const status_t status = transact(PING_TRANSACTION, data, &reply);
    if (status != OK) {
        return status;
    }
    int32_t answer = OK;
    return reply.readInt32(&answer) == OK ? answer : NOT_ENOUGH_DATA;
}

status_t BpBinder::dump(int fd, const Vector<String16>& args) {
    Parcel data;
    Parcel reply;
    data.writeFileDescriptor(fd);
    data.writeInt32(static_cast<int32_t>(args.size()));
    for (const String16& argument : args) {
        data.writeString16(argument);
    }
    return transact(DUMP_TRANSACTION, data, &reply);
}

status_t BpBinder::transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) {
    if (!mAlive) {
        return DEAD_OBJECT;
    }
    const status_t status = IPCThreadState::self()->transact(mHandle, code, data, reply, flags);
    // Handle 0 leads to whoever is the context manager at the moment: it can come back.
    if (status == DEAD_OBJECT && mHandle != 0) {
        mAlive = false;
    }
    return status;
}

status_t BpBinder::linkToDeath(const sp<DeathRecipient>& recipient, void* cookie, uint32_t flags) {
    if (recipient == nullptr) {
        return BAD_VALUE;
    }
    KVT::MutexLock lock(mMutex);
    if (mDeathTold) {
        return DEAD_OBJECT;
    }
    if (mObituaries.empty()) {
        const status_t status = IPCThreadState::self()->requestDeathNotification(mHandle, this);
        if (status != OK) {
            return status;
        }
    }
    mObituaries.push_back({recipient, cookie, flags});
    return OK;
}

status_t BpBinder::unlinkToDeath(const wp<DeathRecipient>& recipient, void* cookie, uint32_t flags,
                                 wp<DeathRecipient>* outRecipient) {
    Obituary removed;
    KVT::MutexLock lock(mMutex);
    if (mDeathTold) {
        return DEAD_OBJECT;
    }
    const auto found =
        std::find_if(mObituaries.begin(), mObituaries.end(), [&](const Obituary& obituary) {
            return (obituary.recipient == recipient ||
                    (recipient == nullptr && obituary.cookie == cookie)) &&
                   obituary.flags == flags;
        });
    if (found == mObituaries.end()) {
        return NAME_NOT_FOUND;
    }
    removed = *found;
    if (outRecipient != nullptr) {
        *outRecipient = removed.recipient;
    }
    if (mObituaries.size() == 1) {
        IPCThreadState::self()->clearDeathNotification(mHandle, this);
    }
    mObituaries.erase(found);
    return OK;
}

void BpBinder::sendObituary() {
    mAlive = false;
    std::vector<Obituary> told;
    {
        KVT::MutexLock lock(mMutex);
        if (mDeathTold) {
            return;
        }
        mDeathTold = true;
        if (!mObituaries.empty()) {
            IPCThreadState::self()->clearDeathNotification(mHandle, this);
        }
        told.swap(mObituaries);
    }
    for (const Obituary& obituary : told) {
        if (const sp<DeathRecipient> recipient = obituary.recipient.promote();
            recipient != nullptr) {
            recipient->binderDied(this);
        }
    }
}

}  // namespace android

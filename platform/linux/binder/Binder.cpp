// SPDX-License-Identifier: Apache-2.0
#include <binder/Binder.h>
#include <binder/IInterface.h>
#include <binder/Parcel.h>

namespace android {

IBinder::~IBinder() = default;

sp<IInterface> IBinder::queryLocalInterface(const String16&) {
    return nullptr;
}

BBinder* IBinder::localBinder() {
    return nullptr;
}

BpBinder* IBinder::remoteBinder() {
    return nullptr;
}

namespace {

Vector<String16> ReadArguments(const Parcel& data) {
    Vector<String16> args;
    // A count that promises more than was sent ends where reading gets no further.
    size_t position = 0;
    for (int32_t left = data.readInt32(); left > 0 && data.dataPosition() != position; --left) {
        position = data.dataPosition();
        if (data.dataAvail() > 0) {
            args.add(data.readString16());
        }
    }
    return args;
}

/** There are no commands. The shell waits until its receiver has been told. */
status_t RefuseShellCommand(const Parcel& data) {
    for (int i = 0; i < 3; ++i) {
        data.readFileDescriptor();  // input, output, errors
    }
    ReadArguments(data);
    data.readStrongBinder();  // opens files for the command
    if (const sp<IBinder> receiver = data.readStrongBinder(); receiver != nullptr) {
        Parcel result;
        result.writeInterfaceToken(String16("com.android.internal.os.IResultReceiver"));
        result.writeInt32(INVALID_OPERATION);
        receiver->transact(IBinder::FIRST_CALL_TRANSACTION, result, nullptr, IBinder::FLAG_ONEWAY);
    }
    return OK;
}

}  // namespace

BBinder::BBinder() = default;
BBinder::~BBinder() = default;

const String16& BBinder::getInterfaceDescriptor() const {
    static const String16 none;
    return none;
}

bool BBinder::isBinderAlive() const {
    return true;
}

status_t BBinder::pingBinder() {
    return OK;
}

status_t BBinder::dump(int, const Vector<String16>&) {
    return OK;
}

status_t BBinder::transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) {
    Parcel discarded;
    if (reply == nullptr || (flags & FLAG_ONEWAY) != 0) {
        reply = &discarded;
    }
    data.setDataPosition(0);
    const status_t status = code == PING_TRANSACTION ? reply->writeInt32(pingBinder())
                                                     : onTransact(code, data, reply, flags);
    reply->setDataPosition(0);
    return status;
}

status_t BBinder::onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t) {
    switch (code) {
        case INTERFACE_TRANSACTION:
            return reply->writeString16(getInterfaceDescriptor());
        case DUMP_TRANSACTION: {
            const int fd = data.readFileDescriptor();
            if (fd < 0) {
                return fd;
            }
            return dump(fd, ReadArguments(data));
        }
        case SHELL_COMMAND_TRANSACTION:
            return RefuseShellCommand(data);
        case SYSPROPS_TRANSACTION:
            return OK;  // properties have changed, of which nothing is kept here
        default:
            return UNKNOWN_TRANSACTION;
    }
}

status_t BBinder::linkToDeath(const sp<DeathRecipient>&, void*, uint32_t) {
    return INVALID_OPERATION;
}

status_t BBinder::unlinkToDeath(const wp<DeathRecipient>&, void*, uint32_t, wp<DeathRecipient>*) {
    return INVALID_OPERATION;
}

BBinder* BBinder::localBinder() {
    return this;
}

BpRefBase::BpRefBase(const sp<IBinder>& remote) : mRemote(remote) {}
BpRefBase::~BpRefBase() = default;

IInterface::IInterface() = default;
IInterface::~IInterface() = default;

sp<IBinder> IInterface::asBinder(const IInterface* iface) {
    return iface == nullptr ? nullptr : const_cast<IInterface*>(iface)->onAsBinder();
}

sp<IBinder> IInterface::asBinder(const sp<IInterface>& iface) {
    return asBinder(iface.get());
}

}  // namespace android

// SPDX-License-Identifier: Apache-2.0
#include "host/FrameworkClient.h"

#include <binder/Parcel.h>

#include "service/IKVTService.h"

namespace KVT {

using android::IBinder;
using android::Parcel;
using android::status_t;
using android::String16;

namespace {

String16 Utf16(const std::string& text) {
    return String16(text.c_str(), text.size());
}

/** A service of this process ends handled events in its base binder, with this status. */
status_t Delivered(status_t status) {
    return status == android::UNKNOWN_TRANSACTION ? android::OK : status;
}

}  // namespace

status_t FrameworkClient::packages(const std::string& focus,
                                   const std::vector<std::string>& visible) {
    Parcel data;
    data.writeString16(Utf16(focus));
    data.writeInt32(static_cast<int32_t>(visible.size()));
    for (const std::string& pkg : visible) {
        data.writeString16(Utf16(pkg));
    }
    return Delivered(mService->transact(PACKAGES, data, nullptr, IBinder::FLAG_ONEWAY));
}

status_t FrameworkClient::applicationState(int32_t type, int32_t state, int32_t gameMode,
                                           const std::string& pkg) {
    Parcel data;
    data.writeInt32(type);
    data.writeInt32(state);
    data.writeInt32(gameMode);
    data.writeInt32(static_cast<int32_t>(pkg.size()));
    for (const char c : pkg) {
        data.writeInt32(c);
    }
    return Delivered(mService->transact(APPLICATION_STATE, data, nullptr, IBinder::FLAG_ONEWAY));
}

status_t FrameworkClient::fingerprint(const std::string& pkg, int32_t status) {
    Parcel data;
    data.writeString16(Utf16(pkg));
    data.writeInt32(status);
    return Delivered(mService->transact(FINGERPRINT, data, nullptr, IBinder::FLAG_ONEWAY));
}

status_t FrameworkClient::send(uint32_t code, int32_t value) {
    const TransactionInfo* const transaction = FindTransaction(code);
    Parcel data;
    if (transaction != nullptr && transaction->checksToken) {
        data.writeInterfaceToken(IKVTService::descriptor);
    }
    data.writeInt32(value);
    return Delivered(mService->transact(code, data, nullptr, IBinder::FLAG_ONEWAY));
}

status_t FrameworkClient::ask(uint32_t code, int32_t* answer) {
    Parcel data;
    Parcel reply;
    const status_t status = mService->transact(code, data, &reply);
    return status == android::OK ? reply.readInt32(answer) : status;
}

}  // namespace KVT

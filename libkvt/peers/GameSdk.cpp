// SPDX-License-Identifier: Apache-2.0
// The game SDK: the registration with it, and what it calls back.
#include <ikorasdk/IkoraSdk.h>

#include <new>

#include "common/Log.h"
#include "common/Turn.h"
#include "peers/IKoraCallback.h"
#include "peers/KVTGameSdkListener.h"

namespace KVT {

using android::Parcel;
using android::PERMISSION_DENIED;
using android::status_t;
using android::String8;

// The missing "c" is the SDK's own.
IMPLEMENT_META_INTERFACE(KoraCallback, "com.norvik.ikora.sdk.ISDKCallbak")

std::atomic<BnKoraCallback::Receiver> BnKoraCallback::sReceiver{nullptr};

status_t BnKoraCallback::onTransact(uint32_t code, const Parcel& data, Parcel* reply,
                                    uint32_t flags) {
    if (code != GAME_INFO) {
        return BBinder::onTransact(code, data, reply, flags);
    }
    CHECK_INTERFACE(IKoraCallback, data, reply);
    const String8 report(data.readString16());
    const Receiver receiver = sReceiver;
    const bool taken = receiver == nullptr || Turn::Take([=] { receiver(report); });
    return taken ? android::OK : android::WOULD_BLOCK;
}

bool KVTGameSdkListener::RegisterGameSdkCallback(const char* name) {
    const android::sp<IKoraCallbackImp> callback = new (std::nothrow) IKoraCallbackImp;
    if (name == nullptr || callback == nullptr) {
        KVT_LOGI("KVTGameSdkListener: RegisterGameSdkCallback fail, nullptr");
        return false;
    }
    if (iKoraSdkRegisterGameCallbck(android::IInterface::asBinder(callback), name) == 0) {
        KVT_LOGI("KVTGameSdkListener: RegisterGameSdkCallback fail, return code 0");
        return false;
    }
    KVT_LOGI("KVTGameSdkListener: RegisterGameSdkCallback Success");
    return true;
}

}  // namespace KVT

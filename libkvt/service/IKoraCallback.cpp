// SPDX-License-Identifier: Apache-2.0
#include "service/IKoraCallback.h"

#include "strategy/GameDynamicFps.h"

namespace KVT {

using android::Parcel;
using android::status_t;
using android::String8;

// The missing "c" is the SDK's own.
IMPLEMENT_META_INTERFACE(KoraCallback, "com.norvik.ikora.sdk.ISDKCallbak")

status_t BnKoraCallback::onTransact(uint32_t code, const Parcel& data, Parcel* reply,
                                    uint32_t flags) {
    if (code != GAME_INFO) {
        return BBinder::onTransact(code, data, reply, flags);
    }
    CHECK_INTERFACE(IKoraCallback, data, reply);
    String8 report(data.readString16());
    GameDynamicFps::GetInstance()->UpdateGameSdkInfo(report);
    return android::OK;
}

}  // namespace KVT

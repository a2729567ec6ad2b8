// SPDX-License-Identifier: Apache-2.0
#include "service/IKoraCallback.h"

#include "common/Turn.h"
#include "strategy/GameDynamicFps.h"

namespace KVT {

using android::Parcel;
using android::PERMISSION_DENIED;
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
    const String8 report(data.readString16());
    const bool taken =
        Turn::Take([report] { GameDynamicFps::GetInstance()->UpdateGameSdkInfo(report); });
    return taken ? android::OK : android::WOULD_BLOCK;
}

}  // namespace KVT

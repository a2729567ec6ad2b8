// SPDX-License-Identifier: Apache-2.0
#include "service/IKVTListener.h"

namespace KVT {

using android::IBinder;
using android::Parcel;
using android::PERMISSION_DENIED;
using android::status_t;

IMPLEMENT_META_INTERFACE(KVTListener, "KVTListener")

status_t BnKVTListener::onTransact(uint32_t code, const Parcel& data, Parcel* reply,
                                   uint32_t flags) {
    if (code < RESERVED_1 || code > NOTIFY_GAME_FPS_TO_APS) {
        return BBinder::onTransact(code, data, reply, flags);
    }
    CHECK_INTERFACE(IKVTListener, data, reply);
    if (code == NOTIFY_GAME_FPS_TO_APS) {
        NotifyGameFpsToAps(data.readInt32());
    }
    return android::OK;
}

void BpKVTListener::NotifyGameFpsToAps(int32_t fps) {
    Parcel data;
    Parcel reply;
    data.writeInterfaceToken(getInterfaceDescriptor());
    data.writeInt32(fps);
    remote()->transact(NOTIFY_GAME_FPS_TO_APS, data, &reply, IBinder::FLAG_ONEWAY);
}

}  // namespace KVT

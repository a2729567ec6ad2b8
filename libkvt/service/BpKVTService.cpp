// SPDX-License-Identifier: Apache-2.0
#include "common/Log.h"
#include "service/IKVTService.h"
#include "service/Transactions.h"

namespace KVT {

using android::IBinder;
using android::Parcel;
using android::sp;

IMPLEMENT_META_INTERFACE(KVTService, "KVTService")

int32_t BpKVTService::RegisterListener(const sp<IKVTListener>& listener) {
    KVT_LOGD("KVT into BpKVTService::RegisterListener");
    Parcel data;
    Parcel reply;
    data.writeInterfaceToken(getInterfaceDescriptor());
    data.writeStrongBinder(asBinder(listener));
    remote()->transact(REGISTER_LISTENER, data, &reply, IBinder::FLAG_ONEWAY);
    return reply.readInt32();
}

int32_t BpKVTService::UnRegisterListener(const sp<IKVTListener>& listener) {
    Parcel data;
    Parcel reply;
    // No interface token: the service does not look for one here.
    data.writeStrongBinder(asBinder(listener));
    remote()->transact(UNREGISTER_LISTENER, data, &reply, IBinder::FLAG_ONEWAY);
    return reply.readInt32();
}

void BpKVTService::SendLayerTimeInfo(LayerTimeInfo& info) {
    Parcel data;
    Parcel reply;
    data.writeInterfaceToken(getInterfaceDescriptor());
    data.writeCString(info.layerName.c_str());
    data.writeInt64(info.timestamp);
    data.writeBool(info.flag);
    remote()->transact(SEND_LAYER_TIME_INFO, data, &reply, IBinder::FLAG_ONEWAY);
}

void BpKVTService::SetLcdEvent(int32_t event) {
    sendInt32(SET_LCD_EVENT, event);
}

void BpKVTService::NotifyFrameRefresh(int64_t timestamp) {
    Parcel data;
    Parcel reply;
    data.writeInterfaceToken(getInterfaceDescriptor());
    data.writeInt64(timestamp);
    remote()->transact(NOTIFY_FRAME_REFRESH, data, &reply, IBinder::FLAG_ONEWAY);
}

void BpKVTService::NotifyDisplayHotplugEvent(int32_t event) {
    sendInt32(NOTIFY_DISPLAY_HOTPLUG, event);
}

void BpKVTService::NotifyVirtualDisplayEvent(int32_t event) {
    sendInt32(NOTIFY_VIRTUAL_DISPLAY, event);
}

void BpKVTService::NotifyGpuCompositionEvent(int32_t status) {
    sendInt32(NOTIFY_GPU_COMPOSITION, status);
}

void BpKVTService::sendInt32(uint32_t code, int32_t value) {
    Parcel data;
    Parcel reply;
    data.writeInterfaceToken(getInterfaceDescriptor());
    data.writeInt32(value);
    remote()->transact(code, data, &reply, IBinder::FLAG_ONEWAY);
}

}  // namespace KVT

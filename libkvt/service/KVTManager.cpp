// SPDX-License-Identifier: Apache-2.0
#include "service/KVTManager.h"

#include "common/Log.h"
#include "service/KVTManagerImpl.h"

namespace KVT {
namespace {

using android::sp;

sp<KVTManagerImpl> Connect() {
    return new KVTManagerImpl;
}

}  // namespace

std::atomic<int32_t> KVTManager::sLastLcdEvent{-1};

int32_t KVTManager::RegisterListener(const sp<KVTListener>& listener) {
    if (listener == nullptr) {
        KVT_LOGD("kvt into KVTManager::RegisterListener and listener==nullptr");
        return REGISTRATION_NULL_LISTENER;
    }
    return Connect()->RegisterListener(listener);
}

void KVTManager::SendLayerTimeInfo(LayerTimeInfo& info) {
    Connect()->SendLayerTimeInfo(info);
}

void KVTManager::SetLcdEvent(int32_t event) {
    // Two racing calls may both get through; that costs one event too many and no lock.
    if (event == sLastLcdEvent) {
        return;
    }
    Connect()->SetLcdEvent(event);
    sLastLcdEvent = event;
}

void KVTManager::NotifyFrameRefresh(int64_t timestamp) {
    Connect()->NotifyFrameRefresh(timestamp);
}

void KVTManager::NotifyDisplayHotplugEvent(int32_t event) {
    Connect()->NotifyDisplayHotplugEvent(event);
}

void KVTManager::NotifyVirtualDisplayEvent(int32_t event) {
    Connect()->NotifyVirtualDisplayEvent(event);
}

void KVTManager::NotifyGpuCompositionEvent(int32_t status) {
    Connect()->NotifyGpuCompositionEvent(status);
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "service/KVTManagerImpl.h"

#include <binder/IServiceManager.h>

#include "common/Log.h"

namespace KVT {
namespace {

using android::IBinder;
using android::sp;

/** Holds the operations' lock for reading. */
class Operation {
  public:
    // Without writers a try always succeeds; and a lock that is never waited for has no place in
    // the lock order, so a listener may call back in from its report.
    explicit Operation(android::RWLock& lock) : mLock(lock) {
        if (mLock.tryReadLock() != android::OK) {
            mLock.readLock();
        }
    }
    ~Operation() { mLock.unlock(); }
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

  private:
    android::RWLock& mLock;
};

}  // namespace

KVTManagerImpl::KVTManagerImpl() {
    static const android::String16 kServiceName("KVTService");
    const auto manager = android::defaultServiceManager();
    const sp<IBinder> binder = manager == nullptr ? nullptr : manager->checkService(kServiceName);
    if (binder == nullptr) {
        KVT_LOGE("itapo, KVTManagerImpl binder == nullptr");
        return;
    }
    service = IKVTService::asInterface(binder);
}

KVTManagerImpl::~KVTManagerImpl() = default;

int32_t KVTManagerImpl::RegisterListener(const sp<KVTListener>& listener) {
    Operation operation(mOperationsLock);
    if (service == nullptr) {
        KVT_LOGD("itapo KVTManagerImpl::RegisterListener & service = nullptr");
        return REGISTRATION_NO_SERVICE;
    }
    if (listener == nullptr) {
        KVT_LOGD("itapo KVTManagerImpl::RegisterListener & listener = nullptr");
        return REGISTRATION_NULL_LISTENER;
    }
    sp<KVTListenerHandler> handler;
    {
        MutexLock lock(mMutex);
        if (listenerHandler == nullptr) {
            listenerHandler = new KVTListenerHandler;
        }
        handler = listenerHandler;
    }
    handler->AddListener(listener);
    return service->RegisterListener(this);
}

int32_t KVTManagerImpl::UnRegisterListener(const sp<KVTListener>& listener) {
    Operation operation(mOperationsLock);
    if (service == nullptr) {
        KVT_LOGD("itapo KVTManagerImpl::UnRegisterListener & service = nullptr");
        return REGISTRATION_NO_SERVICE;
    }
    if (listener == nullptr) {
        KVT_LOGD("itapo KVTManagerImpl::UnRegisterListener & listener = nullptr");
        return REGISTRATION_NULL_LISTENER;
    }
    sp<KVTListenerHandler> handler;
    {
        MutexLock lock(mMutex);
        handler = listenerHandler;
    }
    if (handler != nullptr) {
        handler->RemoveListener(listener);
    } else {
        KVT_LOGW("[itapo KVTManagerImpl:%s]: listenerHandler is nullptr.", __func__);
    }
    return service->UnRegisterListener(this);
}

void KVTManagerImpl::NotifyGameFpsToAps(int32_t fps) {
    MutexLock lock(mMutex);
    KVTListenerHandler::gameFps = fps;
    if (listenerHandler == nullptr) {
        KVT_LOGE("KVT KVTManagerImpl:%s NotifyGameFpsToAps is NULL", __func__);
        return;
    }
    listenerHandler->HandleMessageSelf(KVTListenerHandler::GAME_FPS_REPORT);
}

void KVTManagerImpl::SendLayerTimeInfo(LayerTimeInfo& info) {
    Operation operation(mOperationsLock);
    if (service == nullptr) {
        KVT_LOGE("KVTManagerImpl::SendLayerTimeInfo: can not get service");
        return;
    }
    service->SendLayerTimeInfo(info);
}

void KVTManagerImpl::SetLcdEvent(int32_t event) {
    Operation operation(mOperationsLock);
    if (service == nullptr) {
        KVT_LOGE("KVTManagerImpl::SetLcdEvent: can not get service");
        return;
    }
    service->SetLcdEvent(event);
}

void KVTManagerImpl::NotifyFrameRefresh(int64_t timestamp) {
    Operation operation(mOperationsLock);
    if (service == nullptr) {
        KVT_LOGE("KVTManagerImpl::NotifyFrameRefresh: can not get service");
        return;
    }
    service->NotifyFrameRefresh(timestamp);
}

void KVTManagerImpl::NotifyDisplayHotplugEvent(int32_t event) {
    Operation operation(mOperationsLock);
    if (service == nullptr) {
        KVT_LOGE("KVTManagerImpl::NotifyDisplayHotplugEvent: can not get service");
        return;
    }
    service->NotifyDisplayHotplugEvent(event);
}

void KVTManagerImpl::NotifyVirtualDisplayEvent(int32_t event) {
    Operation operation(mOperationsLock);
    if (service == nullptr) {
        KVT_LOGE("KVTManagerImpl::NotifyVirtualDisplayEvent: can not get service");
        return;
    }
    service->NotifyVirtualDisplayEvent(event);
}

void KVTManagerImpl::NotifyGpuCompositionEvent(int32_t status) {
    Operation operation(mOperationsLock);
    if (service == nullptr) {
        KVT_LOGE("KVTManagerImpl::NotifyGpuCompositionEvent: can not get service");
        return;
    }
    service->NotifyGpuCompositionEvent(status);
}

}  // namespace KVT

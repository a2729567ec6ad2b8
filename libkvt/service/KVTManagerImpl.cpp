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

/** Hands an event on to the service's operation of the same name. */
template <typename Argument>
void KVTManagerImpl::forward(const char* name, void (IKVTService::*operation)(Argument),
                             Argument argument) {
    Operation ongoing(mOperationsLock);
    if (service == nullptr) {
        KVT_LOGE("KVTManagerImpl::%s: can not get service", name);
        return;
    }
    (service.get()->*operation)(argument);
}

void KVTManagerImpl::SendLayerTimeInfo(LayerTimeInfo& info) {
    forward<LayerTimeInfo&>(__func__, &IKVTService::SendLayerTimeInfo, info);
}

void KVTManagerImpl::SetLcdEvent(int32_t event) {
    forward(__func__, &IKVTService::SetLcdEvent, event);
}

void KVTManagerImpl::NotifyFrameRefresh(int64_t timestamp) {
    forward(__func__, &IKVTService::NotifyFrameRefresh, timestamp);
}

void KVTManagerImpl::NotifyDisplayHotplugEvent(int32_t event) {
    forward(__func__, &IKVTService::NotifyDisplayHotplugEvent, event);
}

void KVTManagerImpl::NotifyVirtualDisplayEvent(int32_t event) {
    forward(__func__, &IKVTService::NotifyVirtualDisplayEvent, event);
}

void KVTManagerImpl::NotifyGpuCompositionEvent(int32_t status) {
    forward(__func__, &IKVTService::NotifyGpuCompositionEvent, status);
}

}  // namespace KVT

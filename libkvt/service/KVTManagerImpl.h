// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/RWLock.h>

#include <cstdint>

#include "service/IKVTListener.h"
#include "service/IKVTService.h"
#include "service/KVTListener.h"
#include "service/KVTListenerHandler.h"
#include "service/LayerTimeInfo.h"
#include "service/RegistrationResult.h"
#include "sync/Mutex.h"

namespace KVT {

/**
 * One connection of a client process to the service, and the listener that the service knows of it.
 *
 * The service is looked up once, at construction, without waiting for it to appear. Without it
 * every operation logs and does nothing. Operations may be called from any thread. A manager that
 * registered lives as long as the service keeps its binder.
 */
class KVTManagerImpl : public virtual BnKVTListener {
  public:
    KVTManagerImpl();
    ~KVTManagerImpl() override;

    /** The service's report: tells every listener of this manager, on the calling thread. */
    void NotifyGameFpsToAps(int32_t fps) override;

    /**
     * Adds a listener and registers this manager with the service.
     *
     * @return the service's result (REGISTRATION_DONE from another process),
     *         REGISTRATION_NO_SERVICE or REGISTRATION_NULL_LISTENER
     */
    int32_t RegisterListener(const android::sp<KVTListener>& listener);
    /**
     * Removes a listener and takes this manager as a whole off the service, even when other
     * listeners are left.
     *
     * @return as RegisterListener
     */
    int32_t UnRegisterListener(const android::sp<KVTListener>& listener);

    // The service's operations of the same names; see IKVTService.
    void SendLayerTimeInfo(LayerTimeInfo& info);
    void SetLcdEvent(int32_t event);
    void NotifyFrameRefresh(int64_t timestamp);
    void NotifyDisplayHotplugEvent(int32_t event);
    void NotifyVirtualDisplayEvent(int32_t event);
    void NotifyGpuCompositionEvent(int32_t status);

  private:
    template <typename Argument>
    void forward(const char* name, void (IKVTService::*operation)(Argument), Argument argument);

    android::sp<IKVTService> service;
    android::sp<KVTListenerHandler> listenerHandler GUARDED_BY(mMutex);
    /** Makes reports one at a time. Comes before KVTListenerHandler::mutexLock. */
    Mutex mMutex;
    /**
     * Held for reading by every operation from its first step to its last, and never for writing:
     * operations do not exclude each other.
     */
    android::RWLock mOperationsLock;
};

}  // namespace KVT

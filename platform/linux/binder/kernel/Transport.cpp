// SPDX-License-Identifier: Apache-2.0
// The transport between processes: what parcels and service lookup need of the kernel's driver.
#include "linux/binder/Transport.h"

#include <binder/BpBinder.h>
#include <binder/IServiceManager.h>
#include <binder/ProcessState.h>

#include "sync/Mutex.h"

namespace android {

sp<IServiceManager> defaultServiceManager() {
    static KVT::Mutex mutex;
    // Not destroyed with the process's statics: threads of the pool may still ask.
    static auto& manager = *new sp<IServiceManager>;
    {
        KVT::MutexLock lock(mutex);
        if (manager != nullptr) {
            return manager;
        }
    }
    const sp<IServiceManager> found =
        interface_cast<IServiceManager>(ProcessState::self()->getContextObject(nullptr));
    KVT::MutexLock lock(mutex);
    if (manager == nullptr) {
        manager = found;
    }
    return manager;
}

sp<IBinder> ProxyForHandle(int32_t handle) {
    return ProcessState::self()->getStrongProxyForHandle(handle);
}

int32_t HandleOf(BpBinder* proxy) {
    return proxy == nullptr ? 0 : proxy->handle();
}

}  // namespace android

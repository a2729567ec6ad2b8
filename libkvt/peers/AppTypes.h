// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>
#include <binder/IServiceManager.h>

#include <cstdint>
#include <string>
#include <unordered_map>

#include "sync/Mutex.h"

namespace KVT {

/**
 * Application types of packages: asked of the classification service once, then remembered.
 * FpsCommon's members by inheritance. Any thread.
 */
class AppTypes {
  public:
    AppTypes() = delete;

    /** Looks the service up, which need not be there yet. At start-up. */
    static void ConnectClassifier() EXCLUDES(appTypeMapMutex);
    /** Makes the type of a package known, unless it is already. */
    static void RememberType(const std::string& pkg, int32_t type) EXCLUDES(appTypeMapMutex);

    /** Type of a package: remembered, or asked of the service; -1 when unknown. */
    static int32_t GetPkgTypeByICMSManager(const std::string& pkg) EXCLUDES(appTypeMapMutex);
    /** As far as it is known here; nobody is asked. */
    static int32_t CachedType(const std::string& pkg) EXCLUDES(appTypeMapMutex);

    /** Never held across a binder call. */
    static Mutex appTypeMapMutex;
    static std::unordered_map<std::string, int32_t> appTypeMap GUARDED_BY(appTypeMapMutex);
    static android::sp<android::IServiceManager> sm GUARDED_BY(appTypeMapMutex);
    /** The classification service. */
    static android::sp<android::IBinder> service GUARDED_BY(appTypeMapMutex);
};

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>
#include <binder/IServiceManager.h>

#include <cstdint>
#include <optional>
#include <string>

#include "common/RememberedPackages.h"
#include "sync/Mutex.h"

namespace KVT {

/**
 * Application types of packages: asked of the classification service, then remembered.
 * FpsCommon's members by inheritance. Any thread.
 */
class AppTypes {
  public:
    AppTypes() = delete;

    /** Looks the service up, which need not be there yet. At start-up. */
    static void ConnectClassifier() EXCLUDES(appTypeMapMutex);
    /** Makes the type of a package known for good, unless it is already. */
    static void RememberType(const std::string& pkg, int32_t type) EXCLUDES(appTypeMapMutex);

    /**
     * Type of a package: remembered, or asked of the service, however long it takes; -1 when
     * unknown. The policy has it asked by TypeAsker.
     */
    static int32_t GetPkgTypeByICMSManager(const std::string& pkg) EXCLUDES(appTypeMapMutex);
    /** As it is known here, -1 being an answer, too; nobody is asked. */
    static std::optional<int32_t> RememberedType(const std::string& pkg) EXCLUDES(appTypeMapMutex);
    /** The same, and -1 when it is not known. */
    static int32_t CachedType(const std::string& pkg) EXCLUDES(appTypeMapMutex);

    // These are never destroyed: an answer may still come while the process ends.

    /** Never held across a binder call. */
    static Mutex& appTypeMapMutex;
    static RememberedPackages<int32_t>& appTypeMap GUARDED_BY(appTypeMapMutex);
    static android::sp<android::IServiceManager>& sm GUARDED_BY(appTypeMapMutex);
    /** The classification service. */
    static android::sp<android::IBinder>& service GUARDED_BY(appTypeMapMutex);
};

}  // namespace KVT

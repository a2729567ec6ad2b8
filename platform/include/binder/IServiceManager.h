// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IInterface.h>
#include <utils/String16.h>
#include <utils/Vector.h>

namespace android {

/** The directory of services by name. */
class IServiceManager : public IInterface {
  public:
    DECLARE_META_INTERFACE(ServiceManager)

    static const int DUMP_FLAG_PRIORITY_CRITICAL = 1 << 0;
    static const int DUMP_FLAG_PRIORITY_HIGH = 1 << 1;
    static const int DUMP_FLAG_PRIORITY_NORMAL = 1 << 2;
    static const int DUMP_FLAG_PRIORITY_DEFAULT = 1 << 3;
    static const int DUMP_FLAG_PRIORITY_ALL = DUMP_FLAG_PRIORITY_CRITICAL |
                                              DUMP_FLAG_PRIORITY_HIGH | DUMP_FLAG_PRIORITY_NORMAL |
                                              DUMP_FLAG_PRIORITY_DEFAULT;

    /** Waits up to 5 s for the service to appear; null when it does not. */
    virtual sp<IBinder> getService(const String16& name) const = 0;
    /** Asks once; null when there is no such service now. */
    virtual sp<IBinder> checkService(const String16& name) const = 0;
    /** Registers a service, in place of an earlier one of the same name. */
    virtual status_t addService(const String16& name, const sp<IBinder>& service,
                                bool allowIsolated = false,
                                int dumpsysFlags = DUMP_FLAG_PRIORITY_DEFAULT) = 0;
    virtual Vector<String16> listServices(int dumpsysFlags = DUMP_FLAG_PRIORITY_ALL) = 0;

    enum {
        GET_SERVICE_TRANSACTION = IBinder::FIRST_CALL_TRANSACTION,
        CHECK_SERVICE_TRANSACTION,
        ADD_SERVICE_TRANSACTION,
        LIST_SERVICES_TRANSACTION,
    };
};

/** @return the service manager, or null while there is none */
sp<IServiceManager> defaultServiceManager();

}  // namespace android

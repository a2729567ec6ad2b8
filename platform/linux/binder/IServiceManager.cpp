// SPDX-License-Identifier: Apache-2.0
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>

#include "linux/binder/ServiceLookup.h"

namespace android {

// Far more than any phone has.
constexpr int32_t kMaxServices = 10'000;

/** Talks to the context manager, whichever program that is. */
class BpServiceManager : public BpInterface<IServiceManager> {
  public:
    explicit BpServiceManager(const sp<IBinder>& remote) : BpInterface<IServiceManager>(remote) {}

    sp<IBinder> getService(const String16& name) const override {
        return WaitForService(*this, name);
    }

    sp<IBinder> checkService(const String16& name) const override {
        Parcel data;
        Parcel reply;
        data.writeInterfaceToken(descriptor);
        data.writeString16(name);
        remote()->transact(CHECK_SERVICE_TRANSACTION, data, &reply);
        return reply.readStrongBinder();
    }

    status_t addService(const String16& name, const sp<IBinder>& service, bool allowIsolated,
                        int dumpsysFlags) override {
        Parcel data;
        Parcel reply;
        data.writeInterfaceToken(descriptor);
        data.writeString16(name);
        data.writeStrongBinder(service);
        data.writeInt32(allowIsolated ? 1 : 0);
        data.writeInt32(dumpsysFlags);
        const status_t status = remote()->transact(ADD_SERVICE_TRANSACTION, data, &reply);
        return status == OK ? reply.readExceptionCode() : status;
    }

    Vector<String16> listServices(int dumpsysFlags) override {
        Vector<String16> names;
        for (int32_t index = 0;; ++index) {
            Parcel data;
            Parcel reply;
            data.writeInterfaceToken(descriptor);
            data.writeInt32(index);
            data.writeInt32(dumpsysFlags);
            // The end is an error; a manager without one must not keep us for ever.
            if (remote()->transact(LIST_SERVICES_TRANSACTION, data, &reply) != OK ||
                index == kMaxServices) {
                return names;
            }
            names.add(reply.readString16());
        }
    }
};

IMPLEMENT_META_INTERFACE(ServiceManager, "android.os.IServiceManager")

}  // namespace android

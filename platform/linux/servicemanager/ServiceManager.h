// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/Binder.h>
#include <sys/types.h>
#include <utils/String16.h>

#include <chrono>
#include <map>
#include <string>

#include "sync/Mutex.h"

namespace KVT {

/**
 * The directory of services: IServiceManager's protocol as Android 10's clients speak it. A service
 * stays until another takes its name or its process dies.
 *
 * Who may do what goes by the caller's application id, uid % 100000:
 *  - below 10000, the system: adds services, and may so replace one that another process added
 *  - from 10000, apps: find and list services, add none
 *  - from 90000, isolated processes: as apps, but find only what was added as open to them
 *
 * A process may have 512 services registered, and all together 1,024; the driver does not name
 * those who register one-way, so these count as one process. What is not granted is answered with
 * PERMISSION_DENIED, as everything is that Android's refuses; one such in ten seconds is a line in
 * the log, with the number of the others.
 *
 * Names are 1 to 127 UTF-16 units and are listed in the order of their code units. Replies have no
 * status word before a binder or a name. Thread-safe.
 */
class ServiceManager : public android::BBinder {
  public:
    const android::String16& getInterfaceDescriptor() const override;

  protected:
    android::status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                                 uint32_t flags) override;

  private:
    class DeathWatch;
    struct Service {
        android::sp<android::IBinder> binder;
        android::sp<DeathWatch> watch;
        pid_t owner = 0;  // who registered it
        bool allowIsolated = false;
        int32_t dumpPriority = 0;
    };

    android::sp<android::IBinder> find(const android::String16& name) const;
    android::status_t add(const android::String16& name, const Service& service);
    /** @return why not, or null when it is in */
    const char* insert(const android::String16& name, const Service& added);
    const char* fullFor(const android::String16& name, pid_t owner) const REQUIRES(mMutex);
    android::status_t list(uint32_t index, int32_t dumpPriority, android::Parcel* reply) const;
    void remove(const android::String16& name, const DeathWatch* watch);
    void logRefusal(const std::string& what);

    using Clock = std::chrono::steady_clock;
    mutable Mutex mMutex;
    std::map<android::String16, Service> mServices GUARDED_BY(mMutex);
    Clock::time_point mNextRefusal GUARDED_BY(mMutex);
    int32_t mUnloggedRefusals GUARDED_BY(mMutex) = 0;
};

/**
 * Makes this process the context manager and serves until the driver goes away.
 *
 * @return the process's exit status: 1, with a line on stderr, when it can not be the one
 */
int RunServiceManager();

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
// The transport of a program that is a whole phone by itself: every binder is local, and the
// service manager is a registry in this process. Who calls is this process, unless a thread says
// otherwise by restoreCallingIdentity().
#include <binder/BpBinder.h>
#include <binder/IPCThreadState.h>
#include <binder/IServiceManager.h>
#include <unistd.h>

#include <map>

#include "linux/binder/ServiceLookup.h"
#include "linux/binder/Transport.h"
#include "sync/Mutex.h"

namespace android {
namespace {

class LocalServiceManager : public BnInterface<IServiceManager> {
  public:
    sp<IBinder> getService(const String16& name) const override {
        return WaitForService(*this, name);
    }

    sp<IBinder> checkService(const String16& name) const override {
        KVT::MutexLock lock(mMutex);
        const auto found = mServices.find(name);
        return found == mServices.end() ? nullptr : found->second;
    }

    status_t addService(const String16& name, const sp<IBinder>& service, bool, int) override {
        KVT::MutexLock lock(mMutex);
        if (service == nullptr) {
            mServices.erase(name);
        } else {
            mServices[name] = service;
        }
        return OK;
    }

    Vector<String16> listServices(int) override {
        KVT::MutexLock lock(mMutex);
        Vector<String16> names;
        for (const auto& [name, service] : mServices) {
            names.add(name);
        }
        return names;
    }

  private:
    mutable KVT::Mutex mMutex;
    std::map<String16, sp<IBinder>> mServices GUARDED_BY(mMutex);
};

}  // namespace

sp<IServiceManager> defaultServiceManager() {
    static const sp<IServiceManager> manager = new LocalServiceManager;
    return manager;
}

sp<IBinder> ProxyForHandle(int32_t) {
    return nullptr;
}

int32_t HandleOf(BpBinder*) {
    return 0;
}

IPCThreadState::IPCThreadState()
    : mProcess(nullptr), mCallingPid(getpid()), mCallingUid(getuid()) {}

IPCThreadState::~IPCThreadState() = default;

IPCThreadState* IPCThreadState::self() {
    static thread_local IPCThreadState state;
    return &state;
}

}  // namespace android

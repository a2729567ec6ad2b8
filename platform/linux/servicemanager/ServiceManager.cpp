// SPDX-License-Identifier: Apache-2.0
#include "linux/servicemanager/ServiceManager.h"

#include <binder/IPCThreadState.h>
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <binder/ProcessState.h>
#include <log/log.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

namespace KVT {
namespace {

using android::IBinder;
using android::IServiceManager;
using android::OK;
using android::Parcel;
using android::PERMISSION_DENIED;
using android::sp;
using android::status_t;
using android::String16;
using android::wp;

constexpr size_t kMaxNameLength = 127;

// A phone has two to three hundred services, most of them in one process: twice that for a process,
// and room for two such. Full, the directory takes a megabyte.
constexpr ptrdiff_t kMaxServicesOfProcess = 512;
constexpr size_t kMaxServices = 1'024;

// Any app can be refused as often as it likes, and this one thread waits for whoever reads the log.
constexpr std::chrono::seconds kBetweenRefusals{10};

// What Android's own service manager answers to a request that it does not grant.
constexpr status_t kRefused = PERMISSION_DENIED;

// Android's uids are user * 100000 + application. The last ten thousand applications are isolated
// processes, those of application zygotes first; they get only the services that allow it.
constexpr uid_t kUidsPerUser = 100'000;
constexpr uid_t kFirstApp = 10'000;
constexpr uid_t kFirstIsolated = 90'000;

bool IsApp(uid_t uid) {
    return uid % kUidsPerUser >= kFirstApp;
}

bool IsIsolated(uid_t uid) {
    return uid % kUidsPerUser >= kFirstIsolated;
}

/** @return why a registration is not granted to anybody, or not to this caller; null when it is */
const char* Objection(uid_t uid, const String16& name, const sp<IBinder>& binder) {
    if (IsApp(uid)) {
        return "apps add none";
    }
    if (name.size() == 0 || name.size() > kMaxNameLength) {
        return "a name has 1 to 127 characters";
    }
    return binder == nullptr ? "there is no binder" : nullptr;
}

/** A caller's text in a line of ours: what is not plain is shown as "?", and no more than a name. */
std::string Legible(const String16& name) {
    std::string text;
    for (size_t i = 0; i < std::min(name.size(), kMaxNameLength); ++i) {
        const char16_t c = name.string()[i];
        text += c > ' ' && c <= '~' && c != '\'' ? static_cast<char>(c) : '?';
    }
    return text;
}

}  // namespace

/** Takes one registration back when the service's process dies. */
class ServiceManager::DeathWatch : public IBinder::DeathRecipient {
  public:
    DeathWatch(ServiceManager* manager, const String16& name) : mManager(manager), mName(name) {}

    void binderDied(const wp<IBinder>&) override {
        if (const sp<ServiceManager> manager = mManager.promote(); manager != nullptr) {
            manager->remove(mName, this);
        }
    }

  private:
    const wp<ServiceManager> mManager;
    const String16 mName;
};

const String16& ServiceManager::getInterfaceDescriptor() const {
    return IServiceManager::descriptor;
}

status_t ServiceManager::onTransact(uint32_t code, const Parcel& data, Parcel* reply,
                                    uint32_t flags) {
    if (code < IServiceManager::GET_SERVICE_TRANSACTION ||
        code > IServiceManager::LIST_SERVICES_TRANSACTION) {
        return BBinder::onTransact(code, data, reply, flags);
    }
    CHECK_INTERFACE(IServiceManager, data, reply);
    if (code == IServiceManager::LIST_SERVICES_TRANSACTION) {
        const uint32_t index = data.readUint32();
        return list(index, data.readInt32(), reply);
    }
    const String16 name = data.readString16();
    if (code != IServiceManager::ADD_SERVICE_TRANSACTION) {
        // Clients do the waiting: "get" answers at once, just as "check" does.
        return reply->writeStrongBinder(find(name));
    }
    Service service;
    service.binder = data.readStrongBinder();
    service.allowIsolated = data.readInt32() != 0;
    service.dumpPriority = data.readInt32();
    const status_t status = add(name, service);
    return status == OK ? reply->writeInt32(0) : status;
}

sp<IBinder> ServiceManager::find(const String16& name) const {
    const uid_t caller = android::IPCThreadState::self()->getCallingUid();
    MutexLock lock(mMutex);
    const auto found = mServices.find(name);
    if (found == mServices.end() || (IsIsolated(caller) && !found->second.allowIsolated)) {
        return nullptr;
    }
    return found->second.binder;
}

status_t ServiceManager::add(const String16& name, const Service& service) {
    const uid_t uid = android::IPCThreadState::self()->getCallingUid();
    Service added = service;
    added.owner = android::IPCThreadState::self()->getCallingPid();
    added.watch = new DeathWatch(this, name);
    const char* objection = Objection(uid, name, added.binder);
    if (objection == nullptr) {
        objection = insert(name, added);
    }
    if (objection == nullptr) {
        return OK;
    }
    logRefusal("service '" + Legible(name) + "' of process " + std::to_string(added.owner) +
               ", uid " + std::to_string(uid) + ", is refused: " + objection);
    return kRefused;
}

void ServiceManager::logRefusal(const std::string& what) {
    int32_t unlogged = 0;
    {
        MutexLock lock(mMutex);
        const auto now = Clock::now();
        if (now < mNextRefusal) {
            ++mUnloggedRefusals;
            return;
        }
        mNextRefusal = now + kBetweenRefusals;
        unlogged = std::exchange(mUnloggedRefusals, 0);
    }
    ALOGW("%s (%d others since the last of these lines)", what.c_str(), unlogged);
}

const char* ServiceManager::insert(const String16& name, const Service& added) {
    // In the directory before it is watched: a death in between must find what it takes back.
    Service replaced;
    {
        MutexLock lock(mMutex);
        if (const char* objection = fullFor(name, added.owner); objection != nullptr) {
            return objection;
        }
        replaced = std::exchange(mServices[name], added);
    }
    // A service of this very process can not be watched, and need not be.
    const status_t linked = added.binder->linkToDeath(added.watch);
    if (replaced.binder != nullptr) {
        replaced.binder->unlinkToDeath(replaced.watch);
    }
    if (linked == android::DEAD_OBJECT) {
        remove(name, added.watch.get());
        return "its process is dead";
    }
    return nullptr;
}

const char* ServiceManager::fullFor(const String16& name, pid_t owner) const {
    if (mServices.count(name) == 0 && mServices.size() >= kMaxServices) {
        return "there are too many";
    }
    const auto owned = std::count_if(mServices.begin(), mServices.end(), [&](const auto& entry) {
        return entry.second.owner == owner && entry.first != name;
    });
    return owned >= kMaxServicesOfProcess ? "the process has too many" : nullptr;
}

status_t ServiceManager::list(uint32_t index, int32_t dumpPriority, Parcel* reply) const {
    MutexLock lock(mMutex);
    for (const auto& [name, service] : mServices) {
        if ((service.dumpPriority & dumpPriority) != 0 && index-- == 0) {
            return reply->writeString16(name);
        }
    }
    return kRefused;
}

void ServiceManager::remove(const String16& name, const DeathWatch* watch) {
    Service removed;
    MutexLock lock(mMutex);
    const auto found = mServices.find(name);
    if (found != mServices.end() && found->second.watch.get() == watch) {
        removed = std::move(found->second);
        mServices.erase(found);
    }
}

int RunServiceManager() {
    const sp<android::ProcessState> process = android::ProcessState::self();
    if (!process->hasDriver()) {
        return 1;  // and the log has said why
    }
    signal(SIGPIPE, SIG_IGN);  // the reader of the log may go
    // One thread, so that requests are answered in the order in which they came.
    process->setThreadPoolMaxThreadCount(0);
    const status_t status = process->becomeContextManager(new ServiceManager);
    if (status != OK) {
        fprintf(stderr, "kvt-servicemanager: can not be the context manager: %s\n",
                status == -EBUSY ? "there is one already" : strerror(-status));
        return 1;
    }
    android::IPCThreadState::self()->joinThreadPool();
    return 0;
}

}  // namespace KVT

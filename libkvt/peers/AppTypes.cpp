// SPDX-License-Identifier: Apache-2.0
#include "peers/AppTypes.h"

#include <binder/Parcel.h>

#include <optional>

#include "common/Codes.h"
#include "common/Log.h"
#include "common/PeerHealth.h"

namespace KVT {
namespace {

using android::IBinder;
using android::IServiceManager;
using android::OK;
using android::Parcel;
using android::sp;
using android::String16;

constexpr const char* kClassificationService = "IKoraCMSService";
constexpr uint32_t kGetPackageType = 25;

std::optional<int32_t> AskForType(const sp<IBinder>& classifier, const std::string& pkg) {
    const String16 interface("android.rms.ikora.ICMSManager");
    Parcel data;
    Parcel reply;
    data.writeInterfaceToken(interface);
    data.writeString16(String16(pkg.c_str(), pkg.size()));
    if (classifier->transact(kGetPackageType, data, &reply, 0) != OK) {
        KVT_LOGE("fpscommon: ikora transact err");
        return std::nullopt;
    }
    if (reply.readExceptionCode() != 0) {
        KVT_LOGE("fpscommon: ikora readExceptionCode");
        return std::nullopt;
    }
    return reply.readInt32();
}

}  // namespace

Mutex& AppTypes::appTypeMapMutex = *new Mutex;
RememberedPackages<int32_t>& AppTypes::appTypeMap = *new RememberedPackages<int32_t>;
sp<IServiceManager>& AppTypes::sm = *new sp<IServiceManager>;
sp<IBinder>& AppTypes::service = *new sp<IBinder>;

void AppTypes::ConnectClassifier() {
    const sp<IServiceManager> manager = android::defaultServiceManager();
    const sp<IBinder> classifier =
        manager == nullptr ? nullptr : manager->checkService(String16(kClassificationService));
    MutexLock lock(appTypeMapMutex);
    sm = manager;
    service = classifier;
}

void AppTypes::RememberType(const std::string& pkg, int32_t type) {
    MutexLock lock(appTypeMapMutex);
    appTypeMap.keep(pkg, type);
}

int32_t AppTypes::GetPkgTypeByICMSManager(const std::string& pkg) {
    sp<IServiceManager> manager;
    sp<IBinder> classifier;
    {
        MutexLock lock(appTypeMapMutex);
        if (const auto known = appTypeMap.find(pkg); known.has_value()) {
            return *known;
        }
        manager = sm;
        classifier = service;
    }
    PeerCall call(Peer::kClassification);
    if (manager == nullptr) {
        KVT_LOGE("fpscommon: defaultServiceManager null");
        manager = android::defaultServiceManager();
        if (manager == nullptr) {
            call.found(false);
            return kTypeUnknown;
        }
        MutexLock lock(appTypeMapMutex);
        sm = manager;
    }
    if (classifier == nullptr) {
        KVT_LOGE("fpscommon: ikora checkService null");
        classifier = manager->checkService(String16(kClassificationService));
        if (classifier == nullptr) {
            call.found(false);
            return kTypeUnknown;
        }
        MutexLock lock(appTypeMapMutex);
        service = classifier;
    }
    const std::optional<int32_t> answer = AskForType(classifier, pkg);
    call.found(true);
    call.done(answer.has_value());
    if (!answer.has_value()) {
        return kTypeUnknown;
    }
    // An answer out of range is remembered as unknown, so that it is not asked for again.
    const int32_t type = IsKnownType(*answer) ? *answer : kTypeUnknown;
    MutexLock lock(appTypeMapMutex);
    appTypeMap.put(pkg, type);
    return type;
}

std::optional<int32_t> AppTypes::RememberedType(const std::string& pkg) {
    MutexLock lock(appTypeMapMutex);
    return appTypeMap.find(pkg);
}

int32_t AppTypes::CachedType(const std::string& pkg) {
    return RememberedType(pkg).value_or(kTypeUnknown);
}

}  // namespace KVT

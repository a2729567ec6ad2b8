// SPDX-License-Identifier: Apache-2.0
// What a package is: its type, from the classification service, and its refresh-rate code.
#include <binder/Parcel.h>

#include <optional>

#include "common/Log.h"
#include "policy/CodeChoice.h"
#include "policy/FpsCommon.h"

namespace KVT {
namespace {

using android::IBinder;
using android::IServiceManager;
using android::OK;
using android::Parcel;
using android::sp;
using android::String16;

constexpr uint32_t kGetPackageType = 25;

std::optional<int32_t> AskForType(const sp<IBinder>& classifier, const std::string& pkg) {
    static const String16 interface("android.rms.ikora.ICMSManager");
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

std::optional<int32_t> FindCode(const FpsCommon::CodeCache& cache, int32_t setting,
                                const std::string& pkg) {
    const auto row = cache.find(setting);
    if (row == cache.end()) {
        return std::nullopt;
    }
    const auto found = row->second.find(pkg);
    return found == row->second.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace

int32_t FpsCommon::GetPkgTypeByICMSManager(const std::string& pkg) {
    sp<IServiceManager> manager;
    sp<IBinder> classifier;
    {
        MutexLock lock(appTypeMapMutex);
        if (const auto found = appTypeMap.find(pkg); found != appTypeMap.end()) {
            return found->second;
        }
        manager = sm;
        classifier = service;
    }
    if (manager == nullptr) {
        KVT_LOGE("fpscommon: defaultServiceManager null");
        manager = android::defaultServiceManager();
        if (manager == nullptr) {
            return kTypeUnknown;
        }
        MutexLock lock(appTypeMapMutex);
        sm = manager;
    }
    if (classifier == nullptr) {
        KVT_LOGE("fpscommon: ikora checkService null");
        classifier = manager->checkService(String16("IKoraCMSService"));
        if (classifier == nullptr) {
            return kTypeUnknown;
        }
        MutexLock lock(appTypeMapMutex);
        service = classifier;
    }
    const std::optional<int32_t> answer = AskForType(classifier, pkg);
    if (!answer.has_value()) {
        return kTypeUnknown;
    }
    // An answer out of range is remembered as unknown, so that it is not asked for again.
    const int32_t type = IsKnownType(*answer) ? *answer : kTypeUnknown;
    MutexLock lock(appTypeMapMutex);
    appTypeMap[pkg] = type;
    return type;
}

int32_t FpsCommon::CachedType(const std::string& pkg) {
    MutexLock lock(appTypeMapMutex);
    const auto found = appTypeMap.find(pkg);
    return found == appTypeMap.end() ? kTypeUnknown : found->second;
}

int32_t FpsCommon::GetGameCode(const std::string& pkg) {
    const int32_t setting = lcdSetting;
    MutexLock lock(codeCacheMutex);
    if (const auto cached = FindCode(gameCodeCache, setting, pkg); cached.has_value()) {
        return *cached;
    }
    return gameCodeCache[setting][pkg] = ChooseGameCode(tables, setting, pkg).code;
}

int32_t FpsCommon::GetAppCode(const std::string& pkg, int32_t type) {
    const int32_t setting = lcdSetting;
    MutexLock lock(codeCacheMutex);
    if (const auto cached = FindCode(appCodeCache, setting, pkg); cached.has_value()) {
        return *cached;
    }
    return appCodeCache[setting][pkg] = ChooseAppCode(tables, setting, pkg, type).code;
}

int32_t FpsCommon::PeekCode(const std::string& pkg, int32_t type) {
    const int32_t setting = lcdSetting;
    const bool isGame = type == kTypeGame;
    MutexLock lock(codeCacheMutex);
    if (const auto cached = FindCode(isGame ? gameCodeCache : appCodeCache, setting, pkg);
        cached.has_value()) {
        return *cached;
    }
    return isGame ? ChooseGameCode(tables, setting, pkg).code
                  : ChooseAppCode(tables, setting, pkg, type).code;
}

}  // namespace KVT

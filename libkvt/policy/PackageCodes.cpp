// SPDX-License-Identifier: Apache-2.0
// The refresh-rate code of a package, which it keeps once it is settled.
#include <optional>

#include "common/Codes.h"
#include "policy/CodeChoice.h"
#include "policy/FpsCommon.h"

namespace KVT {
namespace {

/** @param cache in which the package counts as looked at */
std::optional<int32_t> FindCode(FpsCommon::CodeCache& cache, int32_t setting,
                                const std::string& pkg) {
    const auto row = cache.find(setting);
    return row == cache.end() ? std::nullopt : row->second.find(pkg);
}

}  // namespace

Mutex FpsCommon::codeCacheMutex;
FpsCommon::CodeCache FpsCommon::appCodeCache;
FpsCommon::CodeCache FpsCommon::gameCodeCache;

int32_t FpsCommon::GetGameCode(const std::string& pkg) {
    const int32_t setting = lcdSetting;
    MutexLock lock(codeCacheMutex);
    if (const auto cached = FindCode(gameCodeCache, setting, pkg); cached.has_value()) {
        return *cached;
    }
    const int32_t code = ChooseGameCode(tables, setting, pkg).code;
    gameCodeCache[setting].put(pkg, code);
    return code;
}

int32_t FpsCommon::GetAppCode(const std::string& pkg, int32_t type) {
    const int32_t setting = lcdSetting;
    MutexLock lock(codeCacheMutex);
    if (const auto cached = FindCode(appCodeCache, setting, pkg); cached.has_value()) {
        return *cached;
    }
    const int32_t code = ChooseAppCode(tables, setting, pkg, type).code;
    appCodeCache[setting].put(pkg, code);
    return code;
}

int32_t FpsCommon::AppCodeOf(const std::string& pkg) {
    const std::optional<int32_t> type = AnsweredType(pkg);
    return type.has_value() ? GetAppCode(pkg, *type) : PeekCode(pkg, kTypeUnknown);
}

int32_t FpsCommon::PeekCode(const std::string& pkg, int32_t type) {
    MutexLock lock(codeCacheMutex);
    return LookUpCode(lcdSetting, pkg, type);
}

int32_t FpsCommon::LookUpCode(int32_t setting, const std::string& pkg, int32_t type) {
    const bool isGame = type == kTypeGame;
    if (const auto cached = FindCode(isGame ? gameCodeCache : appCodeCache, setting, pkg);
        cached.has_value()) {
        return *cached;
    }
    return isGame ? ChooseGameCode(tables, setting, pkg).code
                  : ChooseAppCode(tables, setting, pkg, type).code;
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "detect/GameFpsHelper.h"

namespace KVT {
namespace {

constexpr struct {
    const char* pkg;
    const char* layerName;
} kBuiltInLayers[] = {
    {"com.t2ksports.nba2k19and", "com.t2ksports.nba2k19and/com.t2ksports.nba2k19and.gameactivity#"},
    {"com.tencent.tmgp.pubgmhd",
     "SurfaceView - com.tencent.tmgp.pubgmhd/com.epicgames.ue4.GameActivity#"},
};

}  // namespace

GameFpsHelper* GameFpsHelper::GetInstance() {
    static GameFpsHelper instance;
    return &instance;
}

bool GameFpsHelper::SearchTargetLayer(const std::string& pkg, std::string& layerName) {
    for (const auto& builtIn : kBuiltInLayers) {
        if (pkg == builtIn.pkg) {
            layerName = builtIn.layerName;
            return true;
        }
    }
    MutexLock lock(mMutex);
    const auto added = mAddedLayers.find(pkg);
    if (added == mAddedLayers.end()) {
        return false;
    }
    layerName = added->second;
    return true;
}

void GameFpsHelper::AddTargetLayer(const std::string& pkg, const std::string& layerName) {
    MutexLock lock(mMutex);
    mAddedLayers.emplace(pkg, layerName);
}

}  // namespace KVT

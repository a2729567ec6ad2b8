// SPDX-License-Identifier: Apache-2.0
#include "sim/World.h"

#include <utility>

namespace KVT::sim {

void World::attach(const android::sp<android::IBinder>& service,
                   const android::sp<IKVTService>& compositorApi) {
    framework = FrameworkClient(service);
    compositorSide = compositorApi;
}

void World::at(int64_t timeNs, std::function<void()> action) {
    MutexLock lock(mActionsMutex);
    mActions.emplace(timeNs, std::move(action));
}

int64_t World::nextTime() {
    MutexLock lock(mActionsMutex);
    return mActions.empty() ? INT64_MAX : mActions.begin()->first;
}

void World::runNext() {
    std::function<void()> action;
    {
        MutexLock lock(mActionsMutex);
        const auto first = mActions.begin();
        action = std::move(first->second);
        mActions.erase(first);
    }
    action();
}

}  // namespace KVT::sim

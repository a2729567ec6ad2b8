// SPDX-License-Identifier: Apache-2.0
#include "sim/World.h"

#include <utility>

namespace KVT::sim {

World::World(bool policyIsHere)
    : inProcess(policyIsHere), together([](const auto& parts) {
          for (const auto& part : parts) {
              part();
          }
      }) {}

void World::attach(const android::sp<android::IBinder>& service,
                   const android::sp<IKVTService>& compositorApi) {
    framework = FrameworkClient(service);
    compositorSide = compositorApi;
}

void World::at(int64_t timeNs, std::function<void()> action) {
    mActions.emplace(timeNs, std::move(action));
}

int64_t World::nextTime() const {
    return mActions.empty() ? INT64_MAX : mActions.begin()->first;
}

void World::runNext() {
    const auto first = mActions.begin();
    const std::function<void()> action = std::move(first->second);
    mActions.erase(first);
    action();
}

}  // namespace KVT::sim

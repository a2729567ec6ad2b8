// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "host/FrameworkClient.h"
#include "service/IKVTService.h"
#include "sim/fakes/FakePhone.h"
#include "sync/Mutex.h"

namespace KVT::sim {

/** The simulated phone, a service to send events to, and what happens on it later. */
class World {
  public:
    /** @param policyIsHere the policy runs in this process, so that its state can be reached */
    explicit World(bool policyIsHere) : inProcess(policyIsHere) {}

    /**
     * Sends events from now on.
     *
     * @param service       as the framework calls it
     * @param compositorApi the same one, as the compositor calls it
     */
    void attach(const android::sp<android::IBinder>& service,
                const android::sp<IKVTService>& compositorApi);

    /** Any thread: runs `action` at a time of the monotonic clock; equal times in the order of calls. */
    void at(int64_t timeNs, std::function<void()> action) EXCLUDES(mActionsMutex);
    /** @return time of the next action; none when it is INT64_MAX */
    int64_t nextTime() EXCLUDES(mActionsMutex);
    void runNext() EXCLUDES(mActionsMutex);

    FakePhone phone;
    FrameworkClient framework{nullptr};
    android::sp<IKVTService> compositorSide;
    const bool inProcess;
    /** Does all of them, each on a thread of its own; returns at the end. Set by who owns the world. */
    std::function<void(const std::vector<std::function<void()>>& parts)> together;
    /** What was expected and is not so, in the order in which it was looked at. */
    std::vector<std::string> unmet;

  private:
    Mutex mActionsMutex;
    std::multimap<int64_t, std::function<void()>> mActions GUARDED_BY(mActionsMutex);
};

}  // namespace KVT::sim

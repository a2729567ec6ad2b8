// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/StrongPointer.h>

#include <string>
#include <vector>

#include "sim/fakes/FakeClassifier.h"
#include "sim/fakes/FakeCompositor.h"
#include "sim/fakes/FakePanel.h"
#include "sim/fakes/FakeVendors.h"
#include "sim/fakes/Journal.h"

namespace KVT::sim {

/** The phone around the service: small real implementations of everything it talks to. */
class FakePhone {
  public:
    FakePhone();

    /** What the services are called in short: "display", "compositor", and so on. */
    static std::vector<std::string> ServiceNames();
    /** In the same order, under which names they are published. */
    static std::vector<std::string> FullNames();
    /**
     * Leaves all other services to other processes. To be called before anything is published.
     *
     * @param names of ServiceNames()
     */
    void standInFor(const std::vector<std::string>& names);
    /** Whether the panel that shows this phone's frames is here. */
    bool hasPanel() const { return mHasPanel; }

    /** Publishes the services that this phone stands in for, but those, under their full names. */
    void publish(const std::vector<std::string>& missing = {});
    /** Takes one away again, by its full name, as if it had never been started. */
    void withdraw(const std::string& name);

    const android::sp<Journal> journal;
    const android::sp<FakePanel> panel;
    const android::sp<FakeCompositor> compositor;
    const android::sp<FakeClassifier> classifier;
    const android::sp<FakeSched> sched;
    const android::sp<FakePerf> perf;
    const android::sp<FakeDisplayEngine> displayEngine;
    const android::sp<FakeGameSdk> gameSdk;

  private:
    std::vector<std::string> mServices = ServiceNames();
    bool mHasPanel = true;
};

}  // namespace KVT::sim

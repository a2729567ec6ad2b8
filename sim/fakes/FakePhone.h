// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/StrongPointer.h>

#include <string>

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

    /** Publishes all services under their full names. */
    void publish();
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
};

}  // namespace KVT::sim

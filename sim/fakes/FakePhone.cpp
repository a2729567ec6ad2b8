// SPDX-License-Identifier: Apache-2.0
#include "sim/fakes/FakePhone.h"

#include <binder/IServiceManager.h>

#include <algorithm>

#include "linux/vendor/Protocol.h"

namespace KVT::sim {
namespace {

using android::IBinder;
using android::sp;

struct PhoneService {
    const char* name;
    const char* fullName;
    sp<IBinder> (*of)(const FakePhone& phone);
};

constexpr const char* kDisplay = "display";

const PhoneService kServices[] = {
    {kDisplay, vendor::kDisplayService, [](const FakePhone& p) -> sp<IBinder> { return p.panel; }},
    {"compositor", "SurfaceFlinger",
     [](const FakePhone& p) -> sp<IBinder> { return p.compositor; }},
    {"classification", "IKoraCMSService",
     [](const FakePhone& p) -> sp<IBinder> { return p.classifier; }},
    {"scheduler", vendor::kSchedService, [](const FakePhone& p) -> sp<IBinder> { return p.sched; }},
    {"performance", vendor::kPerfService, [](const FakePhone& p) -> sp<IBinder> { return p.perf; }},
    {"display-engine", vendor::kDisplayEngineService,
     [](const FakePhone& p) -> sp<IBinder> { return p.displayEngine; }},
    {"game-sdk", vendor::kGameSdkService,
     [](const FakePhone& p) -> sp<IBinder> { return p.gameSdk; }},
};

}  // namespace

FakePhone::FakePhone()
    : journal(new Journal),
      panel(new FakePanel(journal)),
      compositor(new FakeCompositor(journal, panel)),
      classifier(new FakeClassifier),
      sched(new FakeSched(journal)),
      perf(new FakePerf(journal)),
      displayEngine(new FakeDisplayEngine),
      gameSdk(new FakeGameSdk) {}

std::vector<std::string> FakePhone::ServiceNames() {
    std::vector<std::string> names;
    for (const PhoneService& service : kServices) {
        names.emplace_back(service.name);
    }
    return names;
}

std::vector<std::string> FakePhone::FullNames() {
    std::vector<std::string> names;
    for (const PhoneService& service : kServices) {
        names.emplace_back(service.fullName);
    }
    return names;
}

void FakePhone::standInFor(const std::vector<std::string>& names) {
    mServices = names;
    mHasPanel = std::find(names.begin(), names.end(), kDisplay) != names.end();
    if (!mHasPanel) {
        compositor->showFramesElsewhere();
    }
}

void FakePhone::publish(const std::vector<std::string>& missing) {
    const auto contains = [](const std::vector<std::string>& names, const char* name) {
        return std::find(names.begin(), names.end(), name) != names.end();
    };
    const auto manager = android::defaultServiceManager();
    for (const PhoneService& service : kServices) {
        if (contains(mServices, service.name) && !contains(missing, service.fullName)) {
            manager->addService(android::String16(service.fullName), service.of(*this));
        }
    }
}

void FakePhone::withdraw(const std::string& name) {
    if (android::defaultServiceManager()->addService(android::String16(name.c_str()), nullptr) !=
        android::OK) {
        journal->add("nothing happens: a service of another process stays");
    }
}

}  // namespace KVT::sim

// SPDX-License-Identifier: Apache-2.0
#include "sim/fakes/FakePhone.h"

#include <binder/IServiceManager.h>

#include "linux/vendor/Protocol.h"

namespace KVT::sim {

FakePhone::FakePhone()
    : journal(new Journal),
      panel(new FakePanel(journal)),
      compositor(new FakeCompositor(journal, panel)),
      classifier(new FakeClassifier),
      sched(new FakeSched(journal)),
      perf(new FakePerf(journal)),
      displayEngine(new FakeDisplayEngine),
      gameSdk(new FakeGameSdk) {}

void FakePhone::publish() {
    const struct {
        const char* name;
        android::sp<android::IBinder> service;
    } services[] = {
        {vendor::kDisplayService, panel},   {"SurfaceFlinger", compositor},
        {"IKoraCMSService", classifier},    {vendor::kSchedService, sched},
        {vendor::kPerfService, perf},       {vendor::kDisplayEngineService, displayEngine},
        {vendor::kGameSdkService, gameSdk},
    };
    const auto manager = android::defaultServiceManager();
    for (const auto& [name, service] : services) {
        manager->addService(android::String16(name), service);
    }
}

void FakePhone::withdraw(const std::string& name) {
    android::defaultServiceManager()->addService(android::String16(name.c_str()), nullptr);
}

}  // namespace KVT::sim

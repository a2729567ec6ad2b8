// SPDX-License-Identifier: Apache-2.0
#include "sim/StandInPhone.h"

#include <binder/IPCThreadState.h>
#include <binder/IServiceManager.h>
#include <binder/ProcessState.h>
#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <future>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "common/CleanText.h"
#include "host/AwaitServiceManager.h"
#include "host/CommandLine.h"
#include "service/BnKVTService.h"
#include "service/KVTManager.h"
#include "sim/Scenario.h"
#include "sim/World.h"
#include "sync/Clock.h"

namespace KVT::sim {
namespace {

using android::IBinder;
using android::ProcessState;
using android::sp;

constexpr int kFailed = 1;
constexpr int kUsage = 2;
constexpr int64_t kPollNs = 10 * kNsPerMs;

/** The compositor's calls as the phone makes them: each through the client facade. */
class FacadeCalls : public BnKVTService {
  public:
    int32_t RegisterListener(const sp<IKVTListener>&) override { return 0; }
    int32_t UnRegisterListener(const sp<IKVTListener>&) override { return 0; }
    void SendLayerTimeInfo(LayerTimeInfo& info) override { KVTManager::SendLayerTimeInfo(info); }
    void SetLcdEvent(int32_t event) override { KVTManager::SetLcdEvent(event); }
    void NotifyFrameRefresh(int64_t time) override { KVTManager::NotifyFrameRefresh(time); }
    void NotifyDisplayHotplugEvent(int32_t event) override {
        KVTManager::NotifyDisplayHotplugEvent(event);
    }
    void NotifyVirtualDisplayEvent(int32_t event) override {
        KVTManager::NotifyVirtualDisplayEvent(event);
    }
    void NotifyGpuCompositionEvent(int32_t status) override {
        KVTManager::NotifyGpuCompositionEvent(status);
    }
};

/** Prints what the phone did since the last call; each line at once, for whoever reads along. */
void PrintJournal(World& world, int64_t start) {
    for (const Journal::Entry& entry : world.phone.journal->take()) {
        printf("%10.3f s  ",
               static_cast<double>(entry.time - start) / static_cast<double>(kNsPerS));
        if (world.phone.hasPanel()) {
            printf("%3d Hz  ", world.phone.panel->currentHz());
        }
        printf("%s\n", CleanText(entry.text, "=").c_str());
    }
    fflush(stdout);
}

/** Waits for a signal of `endings` until `deadline`, printing on the way. */
bool EndedBefore(int64_t deadline, const sigset_t& endings, World& world, int64_t start) {
    for (;;) {
        const int64_t wait = std::min(kPollNs, std::max<int64_t>(deadline - MonotonicNow(), 0));
        const timespec timeout = {0, static_cast<long>(wait)};
        if (sigtimedwait(&endings, nullptr, &timeout) > 0) {
            return true;
        }
        PrintJournal(world, start);
        if (MonotonicNow() >= deadline) {
            return false;
        }
    }
}

/** The service, once it is there; null after a signal. */
sp<IBinder> AwaitService(const sigset_t& endings, World& world, int64_t start) {
    for (;;) {
        sp<IBinder> service =
            android::defaultServiceManager()->checkService(IKVTService::descriptor);
        if (service != nullptr || EndedBefore(MonotonicNow() + kPollNs, endings, world, start)) {
            return service;
        }
    }
}

/** Sends the scenario's events at their times. @return whether a signal ended it */
bool PlayEvents(const Scenario& scenario, const sigset_t& endings, World& world, int64_t start) {
    const int64_t firstEvent = MonotonicNow();
    bool hasEnded = false;
    for (const ScenarioEvent& event : scenario.events) {
        world.at(firstEvent + event.atNs, [&world, &event, &hasEnded] {
            world.phone.journal->add("> " + event.text);
            event.action(world);
            hasEnded = event.kind == EventType::kEnds;
        });
    }
    while (world.nextTime() != INT64_MAX && !hasEnded) {
        if (EndedBefore(world.nextTime(), endings, world, start)) {
            return true;
        }
        world.runNext();
    }
    return false;
}

struct Options {
    std::string scenario;
    std::vector<std::string> services = FakePhone::ServiceNames();
    bool leave = false;
};

int Run(const Scenario& scenario, const Options& options) {
    sigset_t endings;
    sigemptyset(&endings);
    sigaddset(&endings, SIGTERM);
    sigaddset(&endings, SIGINT);
    pthread_sigmask(SIG_BLOCK, &endings, nullptr);

    if (!ProcessState::self()->hasDriver()) {
        return kFailed;  // which has been said already
    }
    if (AwaitServiceManager("kvt-phone") == nullptr) {
        return kFailed;
    }
    const int64_t start = MonotonicNow();
    // Never destroyed: other processes hold its services, and may be calling them, to the very end.
    static World& world = *new World(false);
    world.phone.standInFor(options.services);
    world.together = [](const std::vector<std::function<void()>>& parts) {
        std::vector<std::future<void>> threads;
        threads.reserve(parts.size());
        for (const auto& part : parts) {
            threads.push_back(std::async(std::launch::async, part));
        }
    };
    for (const Action& action : scenario.before) {
        action(world);
    }
    world.phone.publish(scenario.missing);
    ProcessState::self()->startThreadPool();
    world.phone.journal->add("the phone is up");
    bool ended = false;
    if (!scenario.events.empty()) {
        const sp<IBinder> service = AwaitService(endings, world, start);
        ended = service == nullptr;
        if (!ended) {
            world.attach(service, new FacadeCalls);
            ended = PlayEvents(scenario, endings, world, start);
        }
    }
    if (!ended && !options.leave) {
        EndedBefore(INT64_MAX, endings, world, start);
    }
    PrintJournal(world, start);
    android::IPCThreadState::self()->stopProcess();
    return 0;
}

}  // namespace

int RunStandInPhone(int argc, const char* const* argv) {
    CommandLine app{"Stands in for the phone around the service: panel, compositor, and the rest.",
                    "kvt-phone"};
    Options options;
    bool noServices = false;
    app.add_option("SCENARIO", options.scenario, "events to send, and what the phone is like");
    CLI::Option* some = app.add_option("--services", options.services,
                                       "stand in for these only, separated by commas")
                            ->delimiter(',')
                            ->allow_extra_args(false)
                            ->check(CLI::IsMember(FakePhone::ServiceNames()));
    app.add_flag("--no-services", noServices, "stand in for nothing, only send events")
        ->excludes(some);
    app.add_flag("--leave", options.leave, "end after the last event, not at a signal");
    if (const std::optional<int> ended = app.read(argc, argv, std::cout, std::cerr);
        ended.has_value()) {
        return *ended;
    }
    if (noServices) {
        options.services.clear();
    }
    try {
        return Run(options.scenario.empty() ? Scenario() : ReadScenarioFile(options.scenario),
                   options);
    } catch (const ScenarioError& e) {
        std::cerr << "kvt-phone: " << e.what() << "\n";
        return kUsage;
    }
}

}  // namespace KVT::sim

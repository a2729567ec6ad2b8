// SPDX-License-Identifier: Apache-2.0
#include "service/KVTManager.h"

#include <gmock/gmock.h>

#include <functional>
#include <thread>

#include "service/KVTManagerImpl.h"
#include "tests/service/ClientSide.h"
#include "tests/support/LogCapture.h"

namespace KVT {
namespace {

using android::sp;
using android::wp;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr const char* kNoBinder = "E/KVTService: itapo, KVTManagerImpl binder == nullptr";

/** One event operation: through a manager, through the facade, and as the service sees it. */
struct EventCall {
    const char* name;
    std::function<void(KVTManagerImpl&)> viaManager;
    std::function<void()> viaFacade;
    const char* recorded;
};

std::vector<EventCall> EventCalls() {
    static LayerTimeInfo info{"SurfaceView - com.example.game#0", 1'234'567'890'123, true};
    constexpr int64_t kTime = 9'876'543'210;
    return {
        {"SendLayerTimeInfo", [](KVTManagerImpl& m) { m.SendLayerTimeInfo(info); },
         [] { KVTManager::SendLayerTimeInfo(info); },
         "SendLayerTimeInfo(SurfaceView - com.example.game#0,1234567890123,true)"},
        {"SetLcdEvent", [](KVTManagerImpl& m) { m.SetLcdEvent(1); },
         [] { KVTManager::SetLcdEvent(1); }, "SetLcdEvent(1)"},
        {"NotifyFrameRefresh", [](KVTManagerImpl& m) { m.NotifyFrameRefresh(kTime); },
         [] { KVTManager::NotifyFrameRefresh(kTime); }, "NotifyFrameRefresh(9876543210)"},
        {"NotifyDisplayHotplugEvent", [](KVTManagerImpl& m) { m.NotifyDisplayHotplugEvent(1); },
         [] { KVTManager::NotifyDisplayHotplugEvent(1); }, "Hotplug(1)"},
        {"NotifyVirtualDisplayEvent", [](KVTManagerImpl& m) { m.NotifyVirtualDisplayEvent(0); },
         [] { KVTManager::NotifyVirtualDisplayEvent(0); }, "VirtualDisplay(0)"},
        {"NotifyGpuCompositionEvent", [](KVTManagerImpl& m) { m.NotifyGpuCompositionEvent(-7); },
         [] { KVTManager::NotifyGpuCompositionEvent(-7); }, "GpuComposition(-7)"},
    };
}

class KVTManagerTest : public testing::Test {
  protected:
    ~KVTManagerTest() override {
        service->dropListeners();
        Publish(nullptr);
    }

    void startService() { Publish(service); }
    void startServiceInAnotherProcess() { Publish(new RemoteStandIn(service)); }

    const sp<ListenedService> service = new ListenedService;
    LogCapture log;
};

TEST_F(KVTManagerTest, ForwardsEveryEvent) {
    startService();
    for (const EventCall& call : EventCalls()) {
        SCOPED_TRACE(call.name);
        call.viaManager(*sp<KVTManagerImpl>(new KVTManagerImpl));
        EXPECT_THAT(service->take(), ElementsAre(call.recorded));
        call.viaFacade();
        EXPECT_THAT(service->take(), ElementsAre(call.recorded));
    }
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(KVTManagerTest, SaysSoWhenThereIsNoService) {
    for (const EventCall& call : EventCalls()) {
        SCOPED_TRACE(call.name);
        const std::string complaint =
            std::string("E/KVTService: KVTManagerImpl::") + call.name + ": can not get service";
        call.viaManager(*sp<KVTManagerImpl>(new KVTManagerImpl));
        EXPECT_THAT(log.take(), ElementsAre(kNoBinder, complaint));
        call.viaFacade();
        EXPECT_THAT(log.take(), ElementsAre(kNoBinder, complaint));
    }
}

TEST_F(KVTManagerTest, LooksTheServiceUpAtConstructionOnly) {
    const sp<KVTManagerImpl> early = new KVTManagerImpl;
    startService();
    early->SetLcdEvent(1);
    EXPECT_THAT(service->take(), IsEmpty());

    const sp<KVTManagerImpl> late = new KVTManagerImpl;
    Publish(nullptr);
    late->SetLcdEvent(1);
    EXPECT_THAT(service->take(), ElementsAre("SetLcdEvent(1)"));
}

TEST_F(KVTManagerTest, FacadeFindsAServiceThatCameBack) {
    startService();
    KVTManager::NotifyFrameRefresh(1);
    const sp<ListenedService> restarted = new ListenedService;
    Publish(restarted);
    KVTManager::NotifyFrameRefresh(2);
    EXPECT_THAT(service->take(), ElementsAre("NotifyFrameRefresh(1)"));
    EXPECT_THAT(restarted->take(), ElementsAre("NotifyFrameRefresh(2)"));
}

TEST_F(KVTManagerTest, SendsATouchEventOnlyWhenItChanges) {
    startService();
    for (const int32_t event : {-1, 1, 1, 0, 0, 0, 1, -1, -1}) {
        KVTManager::SetLcdEvent(event);
    }
    EXPECT_THAT(service->take(), ElementsAre("SetLcdEvent(1)", "SetLcdEvent(0)", "SetLcdEvent(1)",
                                             "SetLcdEvent(-1)"));
}

TEST_F(KVTManagerTest, NeverRetriesATouchEventThatFoundNoService) {
    KVTManager::SetLcdEvent(1);
    EXPECT_THAT(
        log.take(),
        ElementsAre(kNoBinder, "E/KVTService: KVTManagerImpl::SetLcdEvent: can not get service"));
    startService();
    KVTManager::SetLcdEvent(1);
    EXPECT_THAT(service->take(), IsEmpty());
    KVTManager::SetLcdEvent(0);
    EXPECT_THAT(service->take(), ElementsAre("SetLcdEvent(0)"));
}

TEST_F(KVTManagerTest, RegistrationChecksTheServiceBeforeTheListener) {
    const sp<KVTListener> listener = new KVTListener;
    const auto withoutService = [this](int32_t result, const char* operation) {
        EXPECT_EQ(result, 3);
        const std::string line = std::string("D/KVTService: itapo KVTManagerImpl::") + operation +
                                 " & service = nullptr";
        EXPECT_THAT(log.take(), ElementsAre(kNoBinder, line));
    };
    withoutService(sp<KVTManagerImpl>(new KVTManagerImpl)->RegisterListener(listener),
                   "RegisterListener");
    withoutService(sp<KVTManagerImpl>(new KVTManagerImpl)->RegisterListener(nullptr),
                   "RegisterListener");
    withoutService(sp<KVTManagerImpl>(new KVTManagerImpl)->UnRegisterListener(listener),
                   "UnRegisterListener");
    withoutService(sp<KVTManagerImpl>(new KVTManagerImpl)->UnRegisterListener(nullptr),
                   "UnRegisterListener");
    withoutService(KVTManager::RegisterListener(listener), "RegisterListener");

    startService();
    const sp<KVTManagerImpl> manager = new KVTManagerImpl;
    EXPECT_EQ(manager->RegisterListener(nullptr), -1);
    EXPECT_EQ(manager->UnRegisterListener(nullptr), -1);
    EXPECT_THAT(
        log.take(),
        ElementsAre("D/KVTService: itapo KVTManagerImpl::RegisterListener & listener = nullptr",
                    "D/KVTService: itapo KVTManagerImpl::UnRegisterListener & listener = nullptr"));
    EXPECT_THAT(service->take(), IsEmpty());
}

TEST_F(KVTManagerTest, FacadeRefusesANullListenerWithoutALookup) {
    EXPECT_EQ(KVTManager::RegisterListener(nullptr), -1);
    EXPECT_THAT(
        log.take(),
        ElementsAre("D/KVTService: kvt into KVTManager::RegisterListener and listener==nullptr"));
}

TEST_F(KVTManagerTest, HandsOutTheServicesResult) {
    startService();
    service->result = 17;
    const sp<KVTManagerImpl> manager = new KVTManagerImpl;
    const sp<KVTListener> listener = new KVTListener;
    EXPECT_EQ(manager->RegisterListener(listener), 17);
    EXPECT_EQ(manager->UnRegisterListener(listener), 17);
    EXPECT_EQ(KVTManager::RegisterListener(listener), 17);
}

TEST_F(KVTManagerTest, RegistersItselfAcrossProcesses) {
    startServiceInAnotherProcess();
    service->result = 17;
    const sp<KVTManagerImpl> manager = new KVTManagerImpl;
    const sp<KVTListener> listener = new KVTListener;
    EXPECT_EQ(manager->RegisterListener(listener), 0);
    EXPECT_THAT(service->listeners(), ElementsAre(sp<IKVTListener>(manager)));
    EXPECT_THAT(log.take(), ElementsAre("D/KVTService: KVT into BpKVTService::RegisterListener",
                                        "D/KVTService: itapo into BnKVTService::RegisterListener"));
    EXPECT_EQ(manager->UnRegisterListener(listener), 0);
    EXPECT_THAT(service->listeners(), IsEmpty());
}

TEST_F(KVTManagerTest, UnregistersAtTheServiceEvenWithoutAHandler) {
    startService();
    const sp<KVTManagerImpl> manager = new KVTManagerImpl;
    manager->UnRegisterListener(new KVTListener);
    EXPECT_THAT(log.take(), ElementsAre("W/KVTService: [itapo KVTManagerImpl:UnRegisterListener]: "
                                        "listenerHandler is nullptr."));
    EXPECT_THAT(service->take(), ElementsAre("UnRegisterListener"));
}

TEST_F(KVTManagerTest, UnregistersAsAWhole) {
    startService();
    const sp<KVTManagerImpl> manager = new KVTManagerImpl;
    const sp<RecordingListener> gone = new RecordingListener;
    const sp<RecordingListener> left = new RecordingListener;
    manager->RegisterListener(gone);
    manager->RegisterListener(left);
    manager->UnRegisterListener(gone);
    EXPECT_THAT(service->take(),
                ElementsAre("RegisterListener", "RegisterListener", "UnRegisterListener"));
    manager->NotifyGameFpsToAps(90);
    EXPECT_THAT(gone->reports, IsEmpty());
    EXPECT_THAT(left->reports, ElementsAre(90));
}

TEST_F(KVTManagerTest, PassesAReportFromTheWireToEveryListener) {
    startService();
    const sp<KVTManagerImpl> manager = new KVTManagerImpl;
    const sp<RecordingListener> first = new RecordingListener;
    const sp<RecordingListener> second = new RecordingListener;
    manager->RegisterListener(first);
    manager->RegisterListener(second);
    sp<BpKVTListener>(new BpKVTListener(android::IInterface::asBinder(manager)))
        ->NotifyGameFpsToAps(45);
    EXPECT_THAT(first->reports, ElementsAre(45));
    EXPECT_THAT(second->reports, ElementsAre(45));
    EXPECT_EQ(KVTListenerHandler::gameFps, 45);
}

TEST_F(KVTManagerTest, NotesAReportThatNobodyWaitsFor) {
    const sp<KVTManagerImpl> manager = new KVTManagerImpl;
    log.take();
    manager->NotifyGameFpsToAps(72);
    EXPECT_THAT(log.take(), ElementsAre("E/KVTService: KVT KVTManagerImpl:NotifyGameFpsToAps "
                                        "NotifyGameFpsToAps is NULL"));
    EXPECT_EQ(KVTListenerHandler::gameFps, 72);
}

TEST_F(KVTManagerTest, AListenerMayCallTheServiceFromItsReport) {
    class Replying : public KVTListener {
      public:
        void NotifyGameFpsToAps(int32_t fps) override {
            manager->NotifyGpuCompositionEvent(fps);
            KVTManager::NotifyDisplayHotplugEvent(fps);
        }
        KVTManagerImpl* manager = nullptr;
    };
    startService();
    const sp<KVTManagerImpl> manager = new KVTManagerImpl;
    const sp<Replying> listener = new Replying;
    listener->manager = manager.get();
    manager->RegisterListener(listener);
    service->ReportGameFps(60);
    EXPECT_THAT(service->take(),
                ElementsAre("RegisterListener", "GpuComposition(60)", "Hotplug(60)"));
}

TEST_F(KVTManagerTest, EveryFacadeRegistrationReportsByItself) {
    startService();
    const sp<RecordingListener> listener = new RecordingListener;
    KVTManager::RegisterListener(listener);
    KVTManager::RegisterListener(listener);
    ASSERT_EQ(service->listeners().size(), 2u);
    service->ReportGameFps(90);
    EXPECT_THAT(listener->reports, ElementsAre(90, 90));
}

TEST_F(KVTManagerTest, LivesAsLongAsTheServiceHoldsItsBinder) {
    for (const bool remote : {false, true}) {
        SCOPED_TRACE(remote);
        remote ? startServiceInAnotherProcess() : startService();
        sp<RecordingListener> listener = new RecordingListener;
        const wp<RecordingListener> watch = listener;
        KVTManager::RegisterListener(listener);
        const wp<IKVTListener> manager = service->listeners().at(0);
        listener.clear();

        service->ReportGameFps(90);
        ASSERT_NE(manager.promote(), nullptr);
        ASSERT_NE(watch.promote(), nullptr) << "the manager keeps its listener";

        service->dropListeners();
        EXPECT_EQ(manager.promote(), nullptr);
        EXPECT_EQ(watch.promote(), nullptr);
    }
}

TEST_F(KVTManagerTest, AManagerThatOnlySendsKeepsNothingAlive) {
    startService();
    const int32_t before = service->getStrongCount();
    for (const EventCall& call : EventCalls()) {
        call.viaFacade();
    }
    EXPECT_EQ(service->getStrongCount(), before);
}

TEST_F(KVTManagerTest, ThreadsMayRegisterReportAndLeaveAtOnce) {
    startService();
    constexpr int kRounds = 200;
    const sp<KVTManagerImpl> manager = new KVTManagerImpl;
    const sp<RecordingListener> constant = new RecordingListener;
    std::vector<std::thread> threads;
    threads.emplace_back([&] { manager->RegisterListener(constant); });
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < kRounds; ++i) {
                const sp<RecordingListener> passing = new RecordingListener;
                manager->RegisterListener(passing);
                manager->UnRegisterListener(passing);
                KVTManager::SetLcdEvent(i % 2);
            }
        });
    }
    threads.emplace_back([&] {
        for (int i = 0; i < kRounds; ++i) {
            manager->NotifyGameFpsToAps(60 + i % 31);
        }
    });
    for (std::thread& thread : threads) {
        thread.join();
    }
    manager->NotifyGameFpsToAps(91);
    EXPECT_EQ(constant->reports.back(), 91);
    EXPECT_EQ(KVTListenerHandler::gameFps, 91);
}

}  // namespace
}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "service/KVTManager.h"

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "service/KVTManagerImpl.h"
#include "tests/service/ClientSide.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Remote.h"

namespace KVT {
namespace {

using android::sp;
using android::wp;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* kNoBinder = "E/KVTService: itapo, KVTManagerImpl binder == nullptr";

/** The facade's events, each by way of the manager's operation of that name. */
struct Event {
    std::string name;
    std::function<void()> send;
    const char* recorded;
};

std::vector<Event> Events() {
    static LayerTimeInfo info{"SurfaceView - com.example.game#0", 1'234'567'890'123, true};
    return {
        {"SendLayerTimeInfo", [] { KVTManager::SendLayerTimeInfo(info); },
         "SendLayerTimeInfo(SurfaceView - com.example.game#0,1234567890123,true)"},
        {"SetLcdEvent", [] { KVTManager::SetLcdEvent(1); }, "SetLcdEvent(1)"},
        {"NotifyFrameRefresh", [] { KVTManager::NotifyFrameRefresh(9'876'543'210); },
         "NotifyFrameRefresh(9876543210)"},
        {"NotifyDisplayHotplugEvent", [] { KVTManager::NotifyDisplayHotplugEvent(1); },
         "Hotplug(1)"},
        {"NotifyVirtualDisplayEvent", [] { KVTManager::NotifyVirtualDisplayEvent(0); },
         "VirtualDisplay(0)"},
        {"NotifyGpuCompositionEvent", [] { KVTManager::NotifyGpuCompositionEvent(-7); },
         "GpuComposition(-7)"},
    };
}

/** A listener that writes down what it is told, and then does something. */
class Listener : public KVTListener {
  public:
    explicit Listener(std::function<void(int32_t)> react = [](int32_t) {})
        : mReact(std::move(react)) {}
    void NotifyGameFpsToAps(int32_t fps) override {
        reports.push_back(fps);
        mReact(fps);
    }

    std::vector<int32_t> reports;

  private:
    const std::function<void(int32_t)> mReact;
};

class KVTManagerTest : public testing::Test {
  protected:
    ~KVTManagerTest() override {
        service->dropListeners();
        Publish(nullptr);
    }

    const sp<ListenedService> service = new ListenedService;
    const sp<android::IBinder> here = service;
    /** The same as other processes have it. */
    const sp<android::IBinder> elsewhere =
        new Remote([this](uint32_t code, const android::Parcel& data, android::Parcel* reply,
                          uint32_t flags) { return service->transact(code, data, reply, flags); });
    LogCapture log;
};

TEST_F(KVTManagerTest, ForwardsEveryEventAndKeepsNothingAlive) {
    Publish(service);
    const int32_t references = service->getStrongCount();
    for (const Event& event : Events()) {
        event.send();
        EXPECT_THAT(service->take(), ElementsAre(event.recorded));
        EXPECT_EQ(service->getStrongCount(), references) << event.name;
    }
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(KVTManagerTest, SaysSoWhenThereIsNoService) {
    for (const Event& event : Events()) {
        event.send();
        EXPECT_THAT(log.take(), ElementsAre(kNoBinder, "E/KVTService: KVTManagerImpl::" +
                                                           event.name + ": can not get service"));
    }
}

TEST_F(KVTManagerTest, LooksTheServiceUpAtConstructionOnly) {
    const sp<KVTManagerImpl> early = new KVTManagerImpl;
    Publish(service);
    early->SetLcdEvent(1);
    EXPECT_THAT(service->take(), IsEmpty());

    const sp<KVTManagerImpl> late = new KVTManagerImpl;
    Publish(nullptr);
    late->SetLcdEvent(1);
    EXPECT_THAT(service->take(), ElementsAre("SetLcdEvent(1)"));
}

TEST_F(KVTManagerTest, SendsATouchEventOnlyWhenItChangesAndNeverAgain) {
    KVTManager::SetLcdEvent(-1);  // as if sent before
    EXPECT_THAT(log.take(), IsEmpty());
    KVTManager::SetLcdEvent(1);  // finds no service
    Publish(service);
    for (const int32_t event : {1, 1, 0, 0, 0, 1, -1, -1}) {
        KVTManager::SetLcdEvent(event);
    }
    EXPECT_THAT(service->take(),
                ElementsAre("SetLcdEvent(0)", "SetLcdEvent(1)", "SetLcdEvent(-1)"));
}

TEST_F(KVTManagerTest, RegistrationChecksTheServiceBeforeTheListener) {
    const std::pair<std::string, int32_t (KVTManagerImpl::*)(const sp<KVTListener>&)> operations[] =
        {{"RegisterListener", &KVTManagerImpl::RegisterListener},
         {"UnRegisterListener", &KVTManagerImpl::UnRegisterListener}};
    for (const auto& [name, operation] : operations) {
        const std::string line = "D/KVTService: itapo KVTManagerImpl::" + name + " & ";
        Publish(nullptr);
        const sp<KVTManagerImpl> orphan = new KVTManagerImpl;
        EXPECT_EQ((orphan.get()->*operation)(new KVTListener), 3);
        EXPECT_EQ((orphan.get()->*operation)(nullptr), 3);
        EXPECT_THAT(log.take(),
                    ElementsAre(kNoBinder, line + "service = nullptr", line + "service = nullptr"));
        Publish(service);
        const sp<KVTManagerImpl> manager = new KVTManagerImpl;
        EXPECT_EQ((manager.get()->*operation)(nullptr), -1);
        EXPECT_THAT(log.take(), ElementsAre(line + "listener = nullptr"));
        EXPECT_THAT(service->take(), IsEmpty());
    }
}

TEST_F(KVTManagerTest, FacadeChecksTheListenerBeforeTheService) {
    EXPECT_EQ(KVTManager::RegisterListener(nullptr), -1);
    EXPECT_EQ(KVTManager::RegisterListener(new KVTListener), 3);
    EXPECT_THAT(
        log.take(),
        ElementsAre("D/KVTService: kvt into KVTManager::RegisterListener and listener==nullptr",
                    kNoBinder,
                    "D/KVTService: itapo KVTManagerImpl::RegisterListener & service = nullptr"));
}

TEST_F(KVTManagerTest, RegistersItselfAndHandsOutTheServicesResult) {
    service->result = 17;
    const sp<KVTListener> listener = new KVTListener;
    for (const sp<android::IBinder>& published : {here, elsewhere}) {
        Publish(published);
        const int32_t result = published == elsewhere ? 0 : 17;  // nothing comes back one-way
        const sp<KVTManagerImpl> manager = new KVTManagerImpl;
        EXPECT_EQ(manager->RegisterListener(listener), result);
        manager->NotifyGameFpsToAps(60);  // which this listener does not care for
        EXPECT_THAT(service->listeners(), ElementsAre(sp<IKVTListener>(manager)));
        EXPECT_THAT(log.take(), SizeIs(published == elsewhere ? 2 : 0)) << "of proxy and stub";
        EXPECT_EQ(manager->UnRegisterListener(listener), result);
        EXPECT_THAT(service->listeners(), IsEmpty());
        log.take();
    }
}

TEST_F(KVTManagerTest, NotesThatItHasNoHandler) {
    Publish(service);
    const sp<KVTManagerImpl> manager = new KVTManagerImpl;
    manager->UnRegisterListener(new KVTListener);
    manager->NotifyGameFpsToAps(72);
    EXPECT_THAT(log.take(), ElementsAre("W/KVTService: [itapo KVTManagerImpl:UnRegisterListener]: "
                                        "listenerHandler is nullptr.",
                                        "E/KVTService: KVT KVTManagerImpl:NotifyGameFpsToAps "
                                        "NotifyGameFpsToAps is NULL"));
    EXPECT_THAT(service->take(), ElementsAre("UnRegisterListener"));
    EXPECT_EQ(KVTListenerHandler::gameFps, 72);
}

TEST_F(KVTManagerTest, PassesReportsToItsListenersAndUnregistersAsAWhole) {
    Publish(service);
    const sp<KVTManagerImpl> manager = new KVTManagerImpl;
    const sp<Listener> gone = new Listener;
    const sp<Listener> left = new Listener;
    manager->RegisterListener(gone);
    manager->RegisterListener(left);
    sp<BpKVTListener>(new BpKVTListener(android::IInterface::asBinder(manager)))
        ->NotifyGameFpsToAps(45);
    EXPECT_EQ(KVTListenerHandler::gameFps, 45);
    manager->UnRegisterListener(gone);
    EXPECT_THAT(service->take(),
                ElementsAre("RegisterListener", "RegisterListener", "UnRegisterListener"));
    manager->NotifyGameFpsToAps(90);
    EXPECT_THAT(gone->reports, ElementsAre(45));
    EXPECT_THAT(left->reports, ElementsAre(45, 90));
}

TEST_F(KVTManagerTest, AListenerMayCallTheServiceFromItsReport) {
    Publish(service);
    const sp<KVTManagerImpl> manager = new KVTManagerImpl;
    KVTManagerImpl* const again = manager.get();
    manager->RegisterListener(new Listener([again](int32_t fps) {
        again->NotifyGpuCompositionEvent(fps);
        KVTManager::NotifyDisplayHotplugEvent(fps);
    }));
    service->ReportGameFps(60);
    EXPECT_THAT(service->take(),
                ElementsAre("RegisterListener", "GpuComposition(60)", "Hotplug(60)"));
}

TEST_F(KVTManagerTest, EachFacadeRegistrationLivesAsLongAsTheServiceHoldsItsBinder) {
    service->result = 17;
    for (const sp<android::IBinder>& published : {here, elsewhere}) {
        Publish(published);
        sp<Listener> listener = new Listener;
        const wp<Listener> watch = listener;
        EXPECT_EQ(KVTManager::RegisterListener(listener), published == here ? 17 : 0);
        KVTManager::RegisterListener(listener);
        service->ReportGameFps(90);
        EXPECT_THAT(listener->reports, ElementsAre(90, 90)) << "each by itself";

        listener.clear();
        EXPECT_NE(watch.promote(), nullptr) << "the manager keeps its listener";
        const wp<IKVTListener> manager = service->listeners().at(1);
        service->dropListeners();
        EXPECT_EQ(manager.promote(), nullptr);
        EXPECT_EQ(watch.promote(), nullptr);
    }
}

TEST_F(KVTManagerTest, ThreadsMayRegisterReportAndLeaveAtOnce) {
    Publish(service);
    const sp<KVTManagerImpl> manager = new KVTManagerImpl;
    const sp<Listener> constant = new Listener;
    std::vector<std::thread> threads;
    threads.emplace_back([&] { manager->RegisterListener(constant); });
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 200; ++i) {
                const sp<Listener> passing = new Listener;
                manager->RegisterListener(passing);
                manager->NotifyGameFpsToAps(60 + i % 31);
                manager->UnRegisterListener(passing);
                KVTManager::SetLcdEvent(i % 2);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    manager->NotifyGameFpsToAps(91);
    EXPECT_EQ(constant->reports.back(), 91);
}

TEST(KVTListenerHandler, TellsItsListenersInTheirOrder) {
    LogCapture log;
    std::string told;
    const auto listener = [&told](char name) {
        return sp<Listener>(new Listener([&told, name](int32_t) { told += name; }));
    };
    const sp<Listener> a = listener('a');
    const sp<Listener> b = listener('b');
    const sp<KVTListenerHandler> handler = new KVTListenerHandler;
    for (const sp<Listener>& each : {a, b, listener('c'), a}) {
        handler->AddListener(each);
    }
    EXPECT_THAT(
        log.take(),
        ElementsAre("W/KVTService: [kvt--->KVTListenerHandler:AddListener] Listener exist"));
    EXPECT_EQ(handler->GetListenerNum(), 3u);
    handler->HandleMessageSelf(KVTListenerHandler::GAME_FPS_REPORT);
    EXPECT_EQ(told, "abc");

    const std::string removing =
        "D/KVTService: [kvt--->KVTListenerHandler:RemoveListener] Remove listener.";
    handler->RemoveListener(b);
    handler->RemoveListener(b);
    EXPECT_THAT(log.take(),
                ElementsAre(removing, "D/KVTService: kvt--->KVTListenerHandler::remove Listener",
                            removing));
    EXPECT_EQ(handler->GetListenerNum(), 2u);
    KVTListenerHandler::gameFps = 90;
    handler->HandleMessageSelf(KVTListenerHandler::GAME_FPS_REPORT);
    EXPECT_EQ(told, "abcac");
    EXPECT_THAT(a->reports, ElementsAre(60, 90)) << "60 before the first report";
}

TEST(KVTListenerHandler, ReadsTheRateAfreshForEveryListenerThatIsThere) {
    const sp<KVTListenerHandler> handler = new KVTListenerHandler;
    const sp<Listener> last = new Listener;
    handler->AddListener(new Listener([](int32_t) { KVTListenerHandler::gameFps = 72; }));
    handler->AddListener(nullptr);
    handler->AddListener(last);
    handler->HandleMessageSelf(KVTListenerHandler::GAME_FPS_REPORT);
    EXPECT_THAT(last->reports, ElementsAre(72));
}

TEST(KVTListenerHandler, IgnoresUnknownMessagesWithoutLocking) {
    const sp<KVTListenerHandler> handler = new KVTListenerHandler;
    const sp<Listener> listener = new Listener;
    handler->AddListener(listener);
    handler->HandleMessageSelf(KVTListenerHandler::RESERVED_5);
    handler->HandleMessageSelf(KVTListenerHandler::RESERVED_6);
    MutexLock lock(KVTListenerHandler::mutexLock);
    for (const int32_t what : {-1, 0, 4, 8, 1 << 30}) {
        handler->handleMessage(android::Message(what));
    }
    EXPECT_EQ(handler->GetListenerNum(), 1u) << "nor does counting lock";
    EXPECT_THAT(listener->reports, IsEmpty());
}

TEST(KVTListenerHandler, PostsThroughItsQueueOnceThatIsInitialised) {
    const android::Message report(KVTListenerHandler::GAME_FPS_REPORT);
    const sp<KVTListenerHandler> handler = new KVTListenerHandler;
    EXPECT_EQ(handler->SendMessage(handler, report, 0), android::NO_INIT);
    sp<KVTListenerHandler> poster = new KVTListenerHandler;
    poster->GetMessageQueue().Init(/*startThread=*/false);
    // The only reference goes with the report: the loop ends.
    const sp<Listener> listener = new Listener([&poster](int32_t) { poster.clear(); });
    handler->AddListener(listener);
    EXPECT_EQ(poster->SendMessage(handler, report, 0), 0);
    poster->GetMessageQueue().WaitMessage();
    EXPECT_THAT(listener->reports, ElementsAre(60));
}

}  // namespace
}  // namespace KVT

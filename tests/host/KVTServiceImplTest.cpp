// SPDX-License-Identifier: Apache-2.0
#include "host/KVTServiceImpl.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include "detect/AppFpsDetect.h"
#include "detect/FrameStats.h"
#include "detect/GameFpsDetect.h"
#include "display/LcdFpsControl.h"
#include "tests/support/HostileName.h"
#include "tests/support/Phone.h"

namespace KVT {
namespace {

using android::sp;
using android::wp;
using testing::AllOf;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

/** A listener as if of another process, which can die. */
class Listener : public BnKVTListener {
  public:
    std::vector<int32_t> heard;
    std::function<void()> then = [] {};
    std::function<void()> linking = [] {};
    bool alive = true;
    std::vector<wp<DeathRecipient>> links;

    void NotifyGameFpsToAps(int32_t fps) override {
        heard.push_back(fps);
        then();
    }
    android::status_t linkToDeath(const sp<DeathRecipient>& recipient, void*, uint32_t) override {
        linking();
        links.push_back(recipient);
        return alive ? android::OK : android::DEAD_OBJECT;
    }
    android::status_t unlinkToDeath(const wp<DeathRecipient>& recipient, void*, uint32_t,
                                    wp<DeathRecipient>*) override {
        if (links.empty()) {
            return android::NAME_NOT_FOUND;
        }
        EXPECT_EQ(links.back(), recipient);
        links.pop_back();
        return android::OK;
    }
};

class Host : public Phone {
  public:
    void frames(const std::string& layer, int count, bool flag = false) {
        for (int i = 0; i < count; ++i) {
            SleepFor(16'666'666);
            LayerTimeInfo info{layer, MonotonicNow(), flag};
            impl->SendLayerTimeInfo(info);
        }
    }

    std::string dumped() {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        EXPECT_EQ(impl->dump(ends[1], {}), android::OK);
        close(ends[1]);
        std::string text;
        android::base::ReadFdToString(ends[0], &text);
        close(ends[0]);
        return text;
    }

    sp<KVTServiceImpl> impl = new KVTServiceImpl;
};

TEST_F(Host, KeepsListenersByBinderIdentity) {
    const sp<Listener> one = new Listener;
    const sp<Listener> two = new Listener;
    EXPECT_EQ(impl->RegisterListener(nullptr), -1);
    EXPECT_EQ(impl->UnRegisterListener(nullptr), -1);
    for (const auto& listener : {one, two, one}) {
        EXPECT_EQ(impl->RegisterListener(listener), 0);
    }
    EXPECT_EQ(impl->listenerCount(), 2u);
    impl->ReportGameFps(90);
    EXPECT_THAT(one->heard, ElementsAre(90));
    EXPECT_THAT(two->heard, ElementsAre(90));
    EXPECT_EQ(impl->UnRegisterListener(one), 0);
    EXPECT_EQ(impl->UnRegisterListener(one), 0);
    impl->ReportGameFps(60);
    EXPECT_THAT(one->heard, ElementsAre(90));
    EXPECT_THAT(two->heard, ElementsAre(90, 60));
}

TEST_F(Host, ForgetsListenersThatDied) {
    const sp<Listener> listener = new Listener;
    impl->RegisterListener(listener);
    ASSERT_EQ(listener->links.size(), 1u);
    const sp<Listener> other = new Listener;
    impl->RegisterListener(other);
    listener->links[0].promote()->binderDied(listener);
    EXPECT_EQ(impl->listenerCount(), 1u) << "the other one stays";
    impl->UnRegisterListener(other);
    impl->RegisterListener(listener);
    EXPECT_EQ(impl->listenerCount(), 1u) << "alive after all";
    impl->UnRegisterListener(listener);
    EXPECT_TRUE(listener->links.empty()) << "nobody waits for its death any more";
    listener->alive = false;
    EXPECT_EQ(impl->RegisterListener(listener), 0);
    EXPECT_EQ(impl->listenerCount(), 0u) << "died before";
}

TEST_F(Host, KeepsNoLinkToAListenerThatIsRemovedAsItRegisters) {
    const sp<Listener> listener = new Listener;
    listener->linking = [] { SleepFor(kNsPerMs); };
    {
        const VirtualThread adds("adds", [&] { impl->RegisterListener(listener); });
        const VirtualThread removes("removes", [&] {
            SleepFor(kNsPerUs);
            impl->UnRegisterListener(listener);
        });
    }
    EXPECT_EQ(impl->listenerCount(), 0u);
    EXPECT_TRUE(listener->links.empty());
}

TEST_F(Host, LetsAListenerRegisterAnotherOneInItsReport) {
    const sp<Listener> first = new Listener;
    const sp<Listener> second = new Listener;
    first->then = [&] { impl->RegisterListener(second); };
    impl->RegisterListener(first);
    impl->ReportGameFps(90);
    impl->ReportGameFps(60);
    EXPECT_THAT(second->heard, ElementsAre(60));
}

TEST_F(Host, FeedsTheDetectorFromTheTargetLayerOfAGame) {
    const std::string nba = "com.t2ksports.nba2k19and";
    const std::string target = nba + "/" + nba + ".gameactivity#";
    type(nba, 9);
    type("com.example.game", 9);
    start();
    GameFpsDetect* detect = GameFpsDetect::GetInstance();
    focus("com.example.app");
    frames("com.example.app#0", 200);
    EXPECT_EQ(detect->GetCurrentFps(), 0) << "no game, no detection";
    focus(nba);
    frames("StatusBar#0", 200);
    EXPECT_EQ(detect->GetCurrentFps(), 0);
    frames(target + "12", 200);
    EXPECT_EQ(detect->GetCurrentFps(), 60);
    focus("com.example.game");
    EXPECT_EQ(detect->GetCurrentFps(), 0);
    frames("anything", 200);
    EXPECT_EQ(detect->GetCurrentFps(), 60) << "without a known target any layer counts";
}

TEST_F(Host, CountsAForegroundChangeOnlyOnceThePackageCanBeSeen) {
    start();
    const uint32_t before = FpsCommon::foregroundChanges;
    FpsCommon::pkgMutex.lock();
    VirtualThread switching("switching", [this] { focus("com.example.app"); });
    VirtualTime::Settle();
    EXPECT_EQ(FpsCommon::foregroundChanges, before)
        << "a frame would keep the target layer of the package before";
    FpsCommon::pkgMutex.unlock();
    switching.Join();
    EXPECT_EQ(FpsCommon::foregroundChanges, before + 1);
}

TEST_F(Host, TakesFlaggedFramesOutsideGamesForAFullScreenSurface) {
    type("com.example.game", 9);
    start();
    frames("video#0", 1);
    EXPECT_FALSE(AppFpsDetect::GetInstance()->IsFullSurfaceViewActive());
    focus("com.example.game");
    frames("video#0", 1, true);
    EXPECT_FALSE(AppFpsDetect::GetInstance()->IsFullSurfaceViewActive());
    focus("com.example.app");
    frames("video#0", 1, true);
    EXPECT_TRUE(AppFpsDetect::GetInstance()->IsFullSurfaceViewActive());
}

TEST(FrameStatsTest, CountsTheFramesOfTheLayersThatSentLast) {
    FrameStats stats;
    const auto frames = [&stats](const std::string& layer, std::initializer_list<int64_t> times) {
        for (const int64_t time : times) {
            stats.onFrame(layer, time);
        }
    };
    frames("first", {10, 20, 20, 15, 16});
    frames("a" + std::string(FrameStats::kLongestName, 'b') + "c", {1});
    frames("a" + std::string(FrameStats::kLongestName, 'b') + "d", {2});
    frames("first", {17});
    FrameStats::Totals totals = stats.totals();
    EXPECT_EQ(totals.frames, 8u);
    ASSERT_EQ(totals.layers.size(), 2u);
    EXPECT_EQ(totals.layers[0].name, "first");
    EXPECT_EQ(totals.layers[0].frames, 6u);
    EXPECT_EQ(totals.layers[0].disordered, 2u) << "the second 20, and 15";
    EXPECT_EQ(totals.layers[0].lastTimestamp, 17);
    EXPECT_EQ(totals.layers[1].frames, 2u);

    for (size_t i = 0; i < FrameStats::kMostLayers - 1; ++i) {
        frames(std::to_string(i), {1});
    }
    totals = stats.totals();
    EXPECT_EQ(totals.layers.size(), FrameStats::kMostLayers);
    EXPECT_EQ(totals.layers.back().name, "first") << "the other one was silent for longer";
}

TEST_F(Host, DumpsWhatItDidAndWhy) {
    start();
    focus(kHostileName);
    FpsCommon::OnDisplayHotplugEventReceived(1);
    frames("video#0", 1);
    frames(kHostileName, 1);
    impl->RegisterListener(new Listener);
    // What a request in progress holds must not be needed.
    FpsCommon::decisionMutex.lock();
    const std::string text = dumped();
    FpsCommon::decisionMutex.unlock();
    for (const char* part :
         {"\ntype=1\ngame=false\ncode=2\n"
          "target_layer=any\ndetected_fps=0\n",
          "[strategy]\narmed=none\n",
          "[panel]\nrequested_hz=60\nconfirmed_hz=60\nmaximum_hz=90\n"
          "new_scheme=true\nswitches=1\nfailed_changes=0\n",
          "[scenes]\n", "display_hotplug=true\n", "hold rule display-hotplug 60 Hz\n",
          "app-fixed rule app-code code 2 60 Hz\n", "[frames]\nreceived=2\n",
          "\nvideo#0=received 1 disordered 0 last ", "[listeners]\nregistered=1\n"}) {
        EXPECT_THAT(text, HasSubstr(part));
    }
    const std::string name = kHostileNameShown;
    EXPECT_THAT(text, AllOf(HasSubstr("[foreground]\npackage=" + name + "\n"),
                            HasSubstr(name + " hold rule "), HasSubstr("\n" + name + "@60="),
                            HasSubstr("[layers]\n" + name + "=received 1 disordered 0 last ")));
}

TEST_F(Host, DumpsTheCodeThatDecisionsUse) {
    listPackages(3, 2);
    FpsCommon::tables.appTypeFilterMap["app_type_perceptible_list"] = {1};
    start();
    fakes.classifier->failCalls(android::DEAD_OBJECT);
    focus("com.example.app");
    EXPECT_THAT(dumped(), HasSubstr("type=-1\ngame=false\ncode=2\n"));
    fakes.classifier->failCalls(android::OK);
    focus("com.example.app");
    EXPECT_EQ(panelHz(), 60) << "a package keeps its code";
    EXPECT_THAT(dumped(), HasSubstr("type=1\ngame=false\ncode=2\n"));
}

TEST_F(Host, DumpsTheTimeOfEachPackageAtEachRate) {
    listPackages(3, 2);
    start();
    SleepFor(kNsPerS);
    for (const char* pkg : {"app.listed", "app.low", "app.listed"}) {
        focus(pkg);
        SleepFor(3 * kNsPerS);
    }
    EXPECT_THAT(dumped(), AllOf(HasSubstr("[seconds_at_rate]\n60=4.000\n90=6.000\n\n[frames]\n"),
                                EndsWith("\n\n[seconds_at_rate_by_package]\n"
                                         "app.listed@60=0.000\napp.listed@90=6.000\n"
                                         "app.low@60=3.000\napp.low@90=0.000\n"
                                         "com.norvik.android.launcher@60=1.000\n")));
    for (int i = 0; i < 1000; ++i) {
        LcdFpsControl::stats.onPackage("flood" + std::to_string(i) + std::string(300, 'x'));
        for (const int32_t hz : {60, 90}) {
            LcdFpsControl::stats.onConfirmed(hz);
            SleepFor(1);
        }
    }
    EXPECT_LE(LcdFpsControl::stats.totals().nsAtRateByPackage.size(), RateStats::kMostPackages + 1);
    EXPECT_THAT(dumped(), AllOf(HasSubstr("[frames]"), HasSubstr("[layers]"),
                                HasSubstr("[listeners]\nregistered=0\n"),
                                ContainsRegex("cut=[0-9]+ lines more than 64 kB hold\n$")));
}

TEST_F(Host, DumpsOnlyToWhoWaitsForIt) {
    start();
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    android::Parcel data;
    data.writeFileDescriptor(ends[1]);
    data.writeInt32(0);
    char byte;
    EXPECT_EQ(impl->transact(android::IBinder::DUMP_TRANSACTION, data, nullptr,
                             android::IBinder::FLAG_ONEWAY),
              android::INVALID_OPERATION);
    EXPECT_EQ(read(ends[0], &byte, 1), -1) << "nothing was written";
    android::Parcel reply;
    EXPECT_EQ(impl->transact(android::IBinder::DUMP_TRANSACTION, data, &reply), android::OK);
    EXPECT_EQ(read(ends[0], &byte, 1), 1);
    close(ends[0]);
    close(ends[1]);
}

}  // namespace
}  // namespace KVT

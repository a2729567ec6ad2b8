// SPDX-License-Identifier: Apache-2.0
#include "detect/GameFpsDetect.h"

#include <binder/Binder.h>
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <cutils/properties.h>
#include <gmock/gmock.h>

#include <atomic>
#include <limits>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "detect/GameFpsHelper.h"
#include "linux/vendor/Protocol.h"
#include "state/PolicyState.h"
#include "sync/virtual/VirtualTime.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RecordingService.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace KVT {
namespace {

constexpr int64_t k60 = 16'666'666;
constexpr int64_t k90 = 11'111'111;
const char kLayer[] = "SurfaceView - com.example.game#0";
const char kRacingLayer[] = "SurfaceView - com.racergame.cityracing3d/.Main#0";

class Listener : public GameRateListener {
  public:
    void onGameRate(int32_t fps) override { told.push_back(fps); }

    std::vector<int32_t> told;
};

/** Notes every message as "type text length". */
class Scheduler : public android::BBinder {
  public:
    std::vector<std::string> take() {
        MutexLock lock(mMutex);
        return std::exchange(mMessages, {});
    }
    std::atomic<bool> broken{false};

  protected:
    android::status_t onTransact(uint32_t, const android::Parcel& data, android::Parcel*,
                                 uint32_t) override {
        const std::string type = std::to_string(data.readInt32());
        const std::string text = data.readString8().string();
        const std::string length = std::to_string(data.readInt32());
        MutexLock lock(mMutex);
        mMessages.push_back(type + " " + text + " " + length);
        return broken ? android::DEAD_OBJECT : android::OK;
    }

  private:
    Mutex mMutex;
    std::vector<std::string> mMessages GUARDED_BY(mMutex);
};

std::string Reported(int32_t fps) {
    return "ReportGameFps(" + std::to_string(fps) + ")";
}

std::string Sent(int32_t fps) {
    const std::string text = "{\"kvtFPS\":\"" + std::to_string(fps) + "\"}";
    return "1 " + text + " " + std::to_string(text.size() + 1);
}

class GameFpsDetectTest : public testing::Test {
  protected:
    GameFpsDetectTest() {
        VirtualTime::Enter({});
        publish(scheduler);
    }

    static void publish(const android::sp<android::IBinder>& service) {
        android::defaultServiceManager()->addService(android::String16(vendor::kSchedService),
                                                     service);
    }

    /** The singleton, which reads its properties when it is first asked for. */
    GameFpsDetect& detect() {
        std::call_once(connected,
                       [this] { GameFpsDetect::GetInstance()->SetRateListener(&listener); });
        return *GameFpsDetect::GetInstance();
    }

    void frames(int count, int64_t periodNs, const std::string& layer = kLayer) {
        for (int i = 0; i < count; ++i) {
            timestamp += periodNs;
            detect().ProcessLayerTimeInfo(layer, timestamp);
        }
    }

    /** What the scheduler was sent for a rate. */
    std::vector<std::string> announce(int32_t fps, const std::string& layer = kLayer) {
        detect().SendTargetFps(layer, fps);
        return scheduler->take();
    }

    /** @param window frames per result; `first`, the first one, is logged as `rates` */
    void playInMode(const char* mode, int window, int32_t first, const std::string& rates) {
        property_set("persist.fps.mode", mode);
        property_set("persist.dynamicfps.logswitch", "1");
        frames(window - 1, k60);  // the length of the first one is its time stamp: clamped
        EXPECT_THAT(scheduler->take(), IsEmpty());
        EXPECT_EQ(detect().GetCurrentFps(), 0);
        frames(1, k60);
        EXPECT_THAT(scheduler->take(), ElementsAre(Sent(first)));
        EXPECT_EQ(detect().GetCurrentFps(), first);
        EXPECT_THAT(log.take(), Contains("I/KVTService: GameFpsDetect: " + rates));

        frames(15, k90);
        detect().Clear();
        EXPECT_EQ(detect().GetCurrentFps(), 0);
        frames(window - 1, k60);
        EXPECT_THAT(scheduler->take(), IsEmpty());
        frames(1, k60);
        EXPECT_THAT(scheduler->take(), ElementsAre(Sent(60))) << "no long first frame this time";
    }

    android::sp<Scheduler> scheduler = new Scheduler;
    android::sp<RecordingService> service = new RecordingService;
    Listener listener;
    std::once_flag connected;
    LogCapture log;
    int64_t timestamp = 5 * kNsPerS;
};

TEST_F(GameFpsDetectTest, AnnouncesTheMonitorsRateByDefault) {
    playInMode("", 100, 60, "fps 60 AI 60");
}

TEST_F(GameFpsDetectTest, AnnouncesTheDetectorsRateInMode0) {
    playInMode("0", 50, 55, "fps 20 AI 55");
}

TEST_F(GameFpsDetectTest, AnnouncesTheDetectorsRateForWhatIsNoNumber) {
    playInMode("off", 50, 55, "fps 20 AI 55");
}

TEST_F(GameFpsDetectTest, ChoosesTheTarget) {
    const struct {
        int32_t fps;
        const char* layer;
        int32_t limit;
        int32_t forced;
        int32_t target;
        int32_t current;
    } cases[] = {
        {60, kLayer, -1, -1, 60, 60},       {69, kLayer, -1, -1, 69, 69},
        {70, kLayer, -1, -1, 90, 90},       {80, kLayer, -1, -1, 90, 90},
        {55, kLayer, -1, -1, 55, 55},       {49, kRacingLayer, -1, -1, 49, 49},
        {50, kRacingLayer, -1, -1, 52, 50}, {55, kRacingLayer, -1, -1, 52, 55},
        {56, kRacingLayer, -1, -1, 56, 56}, {60, kLayer, 40, -1, 40, 60},
        {60, kLayer, 60, 90, 60, 60},       {60, kLayer, 1, 90, 1, 60},
        {60, kLayer, 0, -1, 60, 60},        {30, kLayer, 40, -1, 30, 30},
        {30, kLayer, 40, 90, 90, 30},       {30, kLayer, -1, 90, 90, 30},
        {30, kLayer, -1, 1, 1, 30},         {30, kLayer, -1, 0, 30, 30},
        {55, kRacingLayer, 53, -1, 52, 55}, {80, kLayer, 80, -1, 80, 90},
    };
    for (const auto& c : cases) {
        PolicyState::limitedGameFps = c.limit;
        PolicyState::forcedGameFps = c.forced;
        EXPECT_THAT(announce(c.fps, c.layer), ElementsAre(Sent(c.target))) << c.fps << c.layer;
        EXPECT_EQ(detect().GetCurrentFps(), c.current);
    }
}

TEST_F(GameFpsDetectTest, ReportsTheHighestRateAfter121SecondsThenEveryChange) {
    detect().AttachService(service);
    detect().Clear();
    for (const int32_t fps : {45, 80, 50}) {
        announce(fps);
    }
    SleepFor(121 * kNsPerS - 1);
    announce(40);
    EXPECT_THAT(service->take(), IsEmpty());
    SleepFor(1);
    announce(40);
    EXPECT_THAT(service->take(), ElementsAre(Reported(90)));
    for (const int32_t fps : {40, 50, 80, 61}) {
        announce(fps);
    }
    EXPECT_THAT(service->take(), ElementsAre(Reported(60), Reported(90), Reported(61)));

    detect().Clear();
    EXPECT_EQ(detect().GetCurrentFps(), 0);
    announce(61);
    EXPECT_THAT(service->take(), IsEmpty()) << "another game, another 121 s";
    SleepFor(121 * kNsPerS);
    announce(30);
    EXPECT_THAT(service->take(), ElementsAre(Reported(61)))
        << "the rates of the game before are forgotten";

    detect().Clear();
    SleepFor(121 * kNsPerS);
    announce(30);
    EXPECT_THAT(service->take(), ElementsAre(Reported(60))) << "at least 60";
}

TEST_F(GameFpsDetectTest, WaitsForAServiceToReportTo) {
    detect().Clear();
    SleepFor(200 * kNsPerS);
    announce(80);
    announce(45);
    detect().AttachService(service);
    announce(45);
    EXPECT_THAT(service->take(), ElementsAre(Reported(90)));
    detect().AttachService(nullptr);
    announce(50);
    const android::sp<RecordingService> other = new RecordingService;
    detect().AttachService(other);
    announce(61);
    EXPECT_THAT(service->take(), IsEmpty());
    EXPECT_THAT(other->take(), ElementsAre(Reported(61)));
}

TEST_F(GameFpsDetectTest, TellsTheRateListenerOfEveryResultAndLogsChanges) {
    frames(200, k60);
    announce(80);
    announce(55, kRacingLayer);
    EXPECT_THAT(listener.told, ElementsAre(60, 60, 90, 55));
    EXPECT_THAT(log.take(), ElementsAre("I/KVTService: GameFpsDetect: fps changed to 60fps",
                                        "I/KVTService: GameFpsDetect: fps changed to 90fps",
                                        "I/KVTService: GameFpsDetect: fps changed to 55fps"));
}

TEST_F(GameFpsDetectTest, LooksTheSchedulerUpUntilItIsThereAndAgainAfterAFailedSend) {
    const std::string p = "E/KVTService: GameFpsDetect: SendTargetFpsToAiSched ";
    publish(nullptr);
    announce(60);
    EXPECT_THAT(log.take(), Contains(p + "could not find AISched service"));
    EXPECT_EQ(detect().GetCurrentFps(), 60) << "announced to everyone else all the same";

    publish(scheduler);
    detect().SendTargetFpsToAiSched(90);
    EXPECT_THAT(scheduler->take(), ElementsAre("1 {\"kvtFPS\":\"90\"} 16"));
    const android::sp<Scheduler> restarted = new Scheduler;
    publish(restarted);
    detect().SendTargetFpsToAiSched(std::numeric_limits<int32_t>::min());
    EXPECT_THAT(scheduler->take(), ElementsAre("1 {\"kvtFPS\":\"-2147483648\"} 25"))
        << "no lookup without need";
    EXPECT_THAT(log.take(), IsEmpty());

    scheduler->broken = true;
    detect().SendTargetFpsToAiSched(62);
    EXPECT_THAT(log.take(), ElementsAre(p + "sent msg failed"));
    EXPECT_THAT(restarted->take(), IsEmpty()) << "what failed is not sent again";
    detect().SendTargetFpsToAiSched(63);
    EXPECT_THAT(restarted->take(), ElementsAre(Sent(63)));

    restarted->broken = true;
    publish(nullptr);
    detect().SendTargetFpsToAiSched(64);
    detect().SendTargetFpsToAiSched(65);
    EXPECT_THAT(log.take(),
                ElementsAre(p + "sent msg failed", p + "could not find AISched service"));
}

TEST_F(GameFpsDetectTest, SurvivesAbsurdTimestamps) {
    for (int i = 0; i < 100; ++i) {
        detect().ProcessLayerTimeInfo("", std::numeric_limits<int64_t>::min());
        detect().ProcessLayerTimeInfo("", std::numeric_limits<int64_t>::max());
    }
    EXPECT_GT(detect().GetCurrentFps(), 0);
}

TEST(GameFpsHelper, FindsBuiltInThenAddedLayers) {
    GameFpsHelper* const helper = GameFpsHelper::GetInstance();
    helper->AddTargetLayer("com.example.game", "first#");
    helper->AddTargetLayer("com.example.game", "second#");
    helper->AddTargetLayer("com.t2ksports.nba2k19and", "other#");
    const char* const rows[][2] = {
        {"com.t2ksports.nba2k19and",
         "com.t2ksports.nba2k19and/com.t2ksports.nba2k19and.gameactivity#"},
        {"com.tencent.tmgp.pubgmhd",
         "SurfaceView - com.tencent.tmgp.pubgmhd/com.epicgames.ue4.GameActivity#"},
        {"com.example.game", "first#"},
        {"com.t2ksports", "untouched"},
        {"", "untouched"},
    };
    for (const auto& [pkg, expected] : rows) {
        std::string layer = "untouched";
        const bool found = helper->SearchTargetLayer(pkg, layer);
        EXPECT_EQ(found, layer != "untouched") << pkg;
        EXPECT_EQ(layer, expected);
    }
}

}  // namespace
}  // namespace KVT

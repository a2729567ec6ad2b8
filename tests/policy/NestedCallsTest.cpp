// SPDX-License-Identifier: Apache-2.0
// Peers that make a waiting call to the service while they are being called by it. Binder has such
// a call served by the thread that waits, as it is here, where every call is served by its caller.
#include <gmock/gmock.h>

#include <atomic>
#include <functional>

#include "linux/vendor/Protocol.h"
#include "service/Transactions.h"
#include "strategy/GameDynamicFps.h"
#include "tests/support/Phone.h"
#include "tests/support/Remote.h"

namespace KVT {
namespace {

using android::IBinder;
using android::Parcel;
using android::sp;
using android::status_t;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::SizeIs;

constexpr uint32_t kForceRefreshFrame = 30;
constexpr uint32_t kGetPackageType = 25;

class NestedCalls : public Phone {
  public:
    /** To be called before start(). `times` the calls that are meddled with, from the first on. */
    void meddle(const char* name, const sp<IBinder>& peer, uint32_t code, int times,
                std::function<void()> action) {
        mTimes = times;
        Meddle(name, peer, [this, code, action](uint32_t called, const Parcel&) {
            if (called == code && mEnabled && mTimes-- > 0) {
                action();
            }
        });
    }
    void enable() { mEnabled = true; }

    status_t send(uint32_t code, int32_t value) {
        Parcel data;
        Parcel reply;
        data.writeInt32(value);
        return service->transact(code, data, &reply, 0);
    }

  private:
    std::atomic<bool> mEnabled{false};
    std::atomic<int> mTimes{0};
};

TEST_F(NestedCalls, AClassificationServiceThatSendsEventsIsAnsweredAtOnce) {
    meddle("IKoraCMSService", fakes.classifier, kGetPackageType, 1, [this] {
        EXPECT_EQ(send(POWER_MODE, 1), android::UNKNOWN_TRANSACTION);
        EXPECT_EQ(send(LCD_SETTING, 2), android::UNKNOWN_TRANSACTION);
        int32_t fps = 0;
        EXPECT_EQ(framework.ask(GET_MAX_LCD_FPS, &fps), android::OK);
        EXPECT_EQ(fps, 90);
        EXPECT_EQ(FpsCommon::powerMode, 0) << "nothing happens in the middle of a question";
    });
    start();
    decisions();
    enable();
    focus("com.example.app");
    EXPECT_THAT(decisions(), AllOf(SizeIs(3), Contains("hold power-saving 60").Times(Ge(2))));
    EXPECT_EQ(FpsCommon::lcdSetting, 2);
}

class NestedCallsOfAGame : public NestedCalls {
  public:
    /** A game at 60 Hz, of the dynamic strategy, that gets to this frame rate. */
    void play(int32_t fps) {
        type("com.example.game", 9);
        start();
        framework.send(LCD_SETTING, 1);
        focus("com.example.game");
        ASSERT_EQ(armed(), "game");
        decisions();
        enable();
        GameDynamicFps::GetInstance()->SetGameFps(fps);
    }
};

TEST_F(NestedCallsOfAGame, ACompositorThatSendsEventsDoesNotHoldACheckThread) {
    std::atomic<bool> done{false};
    panel("60", {"60", "90"}, 1);
    meddle("SurfaceFlinger", fakes.compositor, kForceRefreshFrame, 1, [&] {
        EXPECT_EQ(send(POWER_MODE, 1), android::UNKNOWN_TRANSACTION);
        done = true;
    });
    play(75);
    SleepFor(kNsPerS);
    EXPECT_TRUE(done);
    EXPECT_EQ(send(POWER_MODE, 4), android::UNKNOWN_TRANSACTION);
    EXPECT_THAT(decisions(), ElementsAre("hold power-saving 60", "hold power-saving 60"));
    EXPECT_EQ(panelHz(), 60);
}

TEST_F(NestedCallsOfAGame, AnEventIsNotPutOffToTheEndOfATrial) {
    std::atomic<bool> done{false};
    meddle(vendor::kSchedService, fakes.sched, vendor::kSchedSendMessage, 1, [&] {
        send(POWER_MODE, 1);
        done = true;
    });
    play(60);
    SleepFor(kNsPerS);
    EXPECT_TRUE(done);
    EXPECT_THAT(decisions(), ElementsAre("hold power-saving 60"));
    EXPECT_EQ(armed(), "none");
    EXPECT_EQ(FpsCommon::forcedGameFps, kNoGameFps) << "the trial has ended with it";
}

TEST_F(NestedCalls, APeerThatSendsTooMuchAtOnceLosesTheRest) {
    meddle("IKoraCMSService", fakes.classifier, kGetPackageType, 1, [this] {
        for (int32_t mode = 100; mode < 200; ++mode) {
            send(POWER_MODE, mode);
        }
    });
    start();
    logs.take();
    enable();
    focus("com.example.app");
    EXPECT_THAT(logs.take(), Contains("E/KVTService: events dropped: more than 64 from processes "
                                      "that are being waited for"));
    EXPECT_EQ(FpsCommon::powerMode, 163);
}

TEST_F(NestedCalls, APeerThatNeverStopsIsStopped) {
    std::vector<status_t> answers;
    meddle("IKoraCMSService", fakes.classifier, kGetPackageType, 1000, [&] {
        const std::string another = "com.example.app" + std::to_string(answers.size());
        answers.push_back(framework.packages(another, {}));
    });
    start();
    enable();
    focus("com.example.first");
    SleepFor(kNsPerS);
    EXPECT_THAT(answers, SizeIs(65));
    EXPECT_THAT(answers, Each(android::OK)) << "the framework is answered as ever";
    EXPECT_EQ(FpsCommon::CurrentPkgName(), "com.example.app64") << "the last that it has sent";
    focus("com.example.next");
    SleepFor(kNsPerS);
    EXPECT_THAT(answers, SizeIs(130)) << "the next event is asked for like the first";
}

}  // namespace
}  // namespace KVT

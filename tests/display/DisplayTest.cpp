// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "display/DisplayFreqClient.h"
#include "display/DisplayService.h"
#include "display/LcdFpsControl.h"
#include "linux/vendor/Protocol.h"
#include "tests/support/Phone.h"
#include "tests/support/Remote.h"

namespace KVT {
namespace {

using android::DisplayFreqClient;
using android::DisplayService;
using android::sp;
using testing::ElementsAre;

using Behaviour = sim::FakePanel::Behaviour;

class Display : public Phone {
  public:
    void describe(const std::string& text) {
        fakes.panel->behave(&Behaviour::rawDescription, text);
    }
};

TEST_F(Display, SendsTheIndexOfARate) {
    const struct {
        const char *normal, *rate;
        bool highFreqOn;
        int32_t index;
    } cases[] = {
        {"60", "60n", false, 0}, {"60", "30", false, 1}, {"60", "45", true, 2},
        {"60", "60", false, 3},  {"60", "90", false, 4}, {"60", "120", true, 5},
        {"60", "180", false, 6}, {"60", "75", true, 0},  {"60n", "90", false, 0},
        {"60n", "90", true, 4},  {"60n", "60", true, 3}, {"60n", "60", false, 0},
    };
    fakes.panel->behave(&Behaviour::rates, sim::FakePanel::KnownRates());
    for (const auto& c : cases) {
        fakes.panel->behave(&Behaviour::normal, c.normal);
        const sp<DisplayFreqClient> client = new DisplayFreqClient;
        EXPECT_EQ(client->SetFreq(c.rate, c.highFreqOn), 0);
        EXPECT_EQ(fakes.panel->requests().back(), c.index) << c.normal << " " << c.rate;
    }
}

TEST_F(Display, ReportsTheServicesErrors) {
    const sp<DisplayFreqClient> client = new DisplayFreqClient;
    logs.take();
    fakes.panel->behave(&Behaviour::setError, 5);
    EXPECT_EQ(client->SetFreq("90", false), -1);
    EXPECT_THAT(logs.take(), ElementsAre("E/KVTService: DisplayFreqClient: setDisplayFps error, "
                                         "freqIndex: 4, ret: 5"));
    EXPECT_TRUE(client->IsDynamicFreq()) << "a refused change says nothing about the panel";
    fakes.panel->behave(&Behaviour::getError, 1);
    EXPECT_EQ(client->GetCurrentFreq(), "");
    EXPECT_THAT(logs.take(),
                ElementsAre("E/KVTService: DisplayFreqClient: displayGetFps fail, ret: 1"));
    EXPECT_FALSE(client->IsDynamicFreq());
    fakes.panel->behave(&Behaviour::getError, 0);
    EXPECT_EQ(client->GetCurrentFreq(), "60");
    EXPECT_FALSE(client->IsDynamicFreq()) << "once lost, it never comes back";
}

TEST_F(Display, ConnectsWheneverThereIsNoConnection) {
    const std::string missing =
        "E/KVTService: DisplayService: display hidl service isn't supported!";
    fakes.withdraw(vendor::kDisplayService);
    const sp<DisplayFreqClient> client = new DisplayFreqClient;
    // The connection is tried once when the object is made and once when it is asked for.
    EXPECT_THAT(
        logs.take(),
        ElementsAre(missing, missing, "E/KVTService: DisplayFreqClient: GetSupportedFreq fail\n"));
    EXPECT_EQ(client->SetFreq("90", false), -1);
    EXPECT_THAT(logs.take(), ElementsAre(missing, "I/KVTService: DisplayFreqClient: SetFreq fail"));
    fakes.publish();
    EXPECT_EQ(client->SetFreq("90", false), 0);
    EXPECT_EQ(client->GetCurrentFreq(), "90");
    fakes.withdraw(vendor::kDisplayService);
    EXPECT_EQ(client->GetCurrentFreq(), "90") << "an established connection is kept";
    const sp<DisplayFreqClient> asking = new DisplayFreqClient;
    const sp<DisplayFreqClient> setting = new DisplayFreqClient;
    EXPECT_TRUE(asking->IsDynamicFreq() && setting->IsDynamicFreq());
    DisplayService::getInstance().DisplayServiceDied();
    EXPECT_EQ(asking->GetCurrentFreq(), "");
    EXPECT_EQ(setting->SetFreq("90", false), -1);
    EXPECT_FALSE(asking->IsDynamicFreq() || setting->IsDynamicFreq());
}

TEST_F(Display, NeedsVersionOneOne) {
    fakes.panel->behave(&Behaviour::hasVersion11, false);
    EXPECT_EQ(DisplayService::getInstance().GetDisplayService(), nullptr);
    EXPECT_THAT(logs.take(), ElementsAre("E/KVTService: DisplayService: cast IDisplayV1_1 fail",
                                         "E/KVTService: DisplayService: cast IDisplayV1_1 fail"));
}

TEST_F(Display, DiesWithTheServiceInTheMiddleOfACall) {
    const struct {
        void (*call)();
        const char* fault;
    } cases[] = {
        {[] { LcdFpsControl::GetCurrentLcdFps(); },
         "fatal: DisplayFreqClient.cpp:[0-9]+: display service: displayGetFps: "},
        {[] { LcdFpsControl::SetLcdFps(90); },
         "fatal: DisplayFreqClient.cpp:[0-9]+: display service: setDisplayFps: "},
        {[] {
             DisplayService::getInstance().DisplayServiceDied();
             DisplayService::getInstance().GetDisplayService();
         },
         "fatal: DisplayService.cpp:[0-9]+: display service: castFrom: "},
    };
    start();
    __android_log_set_logger(__android_log_stderr_logger);
    EXPECT_DEATH(
        {
            fakes.panel->behave(&Behaviour::current, "fast\n\u009b");
            LcdFpsControl::GetCurrentLcdFps();
        },
        "fatal: LcdFpsControl.cpp:[0-9]+: display service: current rate 'fast[?][?]' is no number");
    fakes.panel->behave(&Behaviour::vanished, true);
    for (const auto& c : cases) {
        EXPECT_EXIT(c.call(), testing::KilledBySignal(SIGABRT), c.fault);
    }
}

TEST_F(Display, OutlivesAFailedCall) {
    const struct {
        android::status_t status;
        int failures;  // of each request, before one gets through
        bool isLost;
    } cases[] = {
        {android::FAILED_TRANSACTION, 3, false}, {android::FAILED_TRANSACTION, 99, true},
        {android::NO_MEMORY, 99, true},          {android::UNKNOWN_TRANSACTION, 99, true},
        {android::BAD_TYPE, 99, true},
    };
    const sp<android::IBinder> panel =
        android::defaultServiceManager()->checkService(android::String16(vendor::kDisplayService));
    android::status_t status = android::OK;
    int failures = 0;
    fakes.withdraw(vendor::kDisplayService);
    android::defaultServiceManager()->addService(
        android::String16(vendor::kDisplayService),
        new Remote([&](uint32_t code, const android::Parcel& data, android::Parcel* reply,
                       uint32_t flags) {
            return failures-- > 0 ? status : panel->transact(code, data, reply, flags);
        }));
    for (const auto& c : cases) {
        SCOPED_TRACE(c.status);
        failures = 0;
        const sp<DisplayFreqClient> client = new DisplayFreqClient;
        logs.take();
        status = c.status;
        failures = c.failures;
        EXPECT_EQ(client->SetFreq("90", false), c.isLost ? -1 : 0);
        failures = c.failures;
        EXPECT_EQ(client->GetCurrentFreq(), c.isLost ? "" : "90");
        EXPECT_EQ(client->IsDynamicFreq(), !c.isLost);
        DisplayService::getInstance().DisplayServiceDied();
        failures = c.failures;
        EXPECT_EQ(DisplayService::getInstance().GetDisplayService() == nullptr, c.isLost);
        const std::string code = std::to_string(c.status);
        const std::vector<std::string> lines = {
            "E/zrdisplay: request 3 failed: status " + code,
            "E/KVTService: DisplayFreqClient: setDisplayFps error, freqIndex: 4, ret: " + code,
            "E/zrdisplay: request 2 failed: status " + code,
            "E/KVTService: DisplayFreqClient: displayGetFps fail, ret: " + code,
            "E/zrdisplay: request 1 failed: status " + code,
            "E/KVTService: DisplayService: cast IDisplayV1_1 fail",
        };
        EXPECT_EQ(logs.take(), c.isLost ? lines : std::vector<std::string>{});
        failures = 0;
        EXPECT_EQ(client->SetFreq("60", false), 0) << "the next change is asked for again";
    }
}

TEST_F(Display, ReadsRates) {
    EXPECT_EQ(LcdFpsControl::GetCurrentLcdFps(), -1) << "before Init";
    EXPECT_EQ(LcdFpsControl::GetMaxLcdFps(), 60);
    EXPECT_FALSE(LcdFpsControl::GetNewSchemeSupported());
    LcdFpsControl::SetLcdFps(90);
    EXPECT_THAT(logs.take(),
                ElementsAre("E/KVTService: LcdFpsControl: client must not be nullptr"));
    panel("60n", {"90", "60"});
    LcdFpsControl::Init();
    EXPECT_THAT(logs.take(),
                ElementsAre("I/KVTService: DisplayFreqClient: lcd fps curr: 60n, default: 60",
                            "I/KVTService: DisplayFreqClient: lcd fps support: 90",
                            "I/KVTService: DisplayFreqClient: lcd fps support: 60"));
    EXPECT_EQ(LcdFpsControl::GetCurrentLcdFps(), 60);
    EXPECT_EQ(LcdFpsControl::GetLastLcdFps(), 60);
    EXPECT_EQ(LcdFpsControl::GetMaxLcdFps(), 60) << "the last listed, not the largest";
    EXPECT_TRUE(LcdFpsControl::GetNewSchemeSupported());
    describe("current_fps:  99999999999;default_fps:60;support_fps_list:60");
    EXPECT_EQ(LcdFpsControl::GetCurrentLcdFps(), INT32_MAX);
    describe("current_fps:60;default_fps:60;support_fps_list:90,best");
    LcdFpsControl::Init();
    EXPECT_EQ(LcdFpsControl::GetMaxLcdFps(), 60) << "a list that ends in no number";
}

TEST_F(Display, RecoversWithoutForgettingWhatWasRequested) {
    panel("60", {"60", "90"});
    LcdFpsControl::Init();
    LcdFpsControl::SetLcdFps(90);
    LcdFpsControl::RecoverLcdFps(60);
    EXPECT_EQ(LcdFpsControl::GetCurrentLcdFps(), 60);
    EXPECT_EQ(LcdFpsControl::GetLastLcdFps(), 90);
}

TEST_F(Display, ConfirmsChangesByForcingFrames) {
    LcdFpsControl::Init();
    LcdFpsControl::particalComposeEnabled = true;
    for (const int32_t obeysAfter : {0, 3, 8, 9, sim::FakePanel::kNever}) {
        SCOPED_TRACE(obeysAfter);
        const bool confirmed = 0 <= obeysAfter && obeysAfter < 9;
        const int32_t frames = confirmed ? obeysAfter : 9;
        panel("60", {"60", "90"}, obeysAfter);
        LcdFpsControl::SetLcdFps(60);
        settle();
        fakes.displayEngine->takeRates();
        const int64_t start = MonotonicNow();
        LcdFpsControl::SetLcdFps(90);
        EXPECT_EQ(MonotonicNow() - start, frames * 16 * kNsPerMs);
        EXPECT_EQ(LcdFpsControl::GetLastLcdFps(), 90) << "requested, whether confirmed or not";
        std::vector<std::string> lines = {
            "E/KVTService: LcdFpsControl: refresh frame num has run out."};
        std::vector<uint32_t> codes(static_cast<size_t>(frames), 30);
        if (confirmed) {
            codes.push_back(7015);
            lines = {"I/KVTService: LcdFpsControl: set lcd finished, tryRefreshNum = " +
                         std::to_string(frames) + ", lcdFps = 90",
                     "I/KVTService: LcdFpsControl: set lcd fps 90Hz, success",
                     "D/jank-460: #ARG1:fps#pkg:com.norvik.android.launcher#fps:90#time:" +
                         std::to_string(BootTimeNow())};
        }
        EXPECT_EQ(logs.take(), lines);
        EXPECT_EQ(told(), codes);
        EXPECT_EQ(fakes.displayEngine->takeRates(), std::vector<std::string>(confirmed, "90"));
    }
    EXPECT_EQ(LcdFpsControl::stats.totals().failures, 2u);
}

TEST_F(Display, LogsThatTheBigCoresCanNotBeBound) {
    SetPaths({path("kvt_config.xml"), path("no/such/folder/cpus")});
    LcdFpsControl::BindVipCpus(true);
    EXPECT_THAT(logs.take(),
                ElementsAre("E/KVTService: BindVipCpus: WriteVipCpus: open file failed"));
}

}  // namespace
}  // namespace KVT

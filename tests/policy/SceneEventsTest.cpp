// SPDX-License-Identifier: Apache-2.0
#include <binder/Binder.h>
#include <gmock/gmock.h>

#include <functional>
#include <optional>
#include <utility>

#include "display/LcdFpsControl.h"
#include "linux/vendor/Protocol.h"
#include "tests/support/Phone.h"

namespace KVT {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/** Every application at 90 Hz, so that every low rate has another reason. */
std::string HighRate(const std::string& more = "") {
    return ConfigWith(R"(<Param name="setting_switch"><setting id="0">
        <switch name="app_default" value="3"/></setting></Param>)" +
                      more);
}

std::string GpuComposition(int32_t limit) {
    return HighRate(R"(<Param name="SF_composition_config"><sf_param name="switch" value="1"/>
        <sf_param name="app_penalty_count" value=")" +
                    std::to_string(limit) + "\"/></Param>");
}

class SceneEvents : public Phone {
  public:
    /** The rate after each of these events. */
    template <typename Event>
    std::vector<int32_t> rates(Event event, const std::vector<int32_t>& arguments) {
        std::vector<int32_t> hz;
        for (const int32_t argument : arguments) {
            event(argument);
            hz.push_back(panelHz());
        }
        return hz;
    }
};

TEST_F(SceneEvents, LowerTheRateWhileTheyLast) {
    start(HighRate());
    ASSERT_EQ(panelHz(), 90);
    EXPECT_THAT(rates(FpsCommon::OnDisplayHotplugEventReceived, {1, 3, 0, -1}),
                ElementsAre(60, 60, 90, 90));
    EXPECT_THAT(rates(FpsCommon::SetLcdLowDownByTpPointer, {1, 2, 0}), ElementsAre(60, 60, 90));
    EXPECT_THAT(rates(FpsCommon::OnFullVideoStatusReceived, {1, 3, 0}), ElementsAre(60, 60, 90));
    EXPECT_THAT(rates(FpsCommon::SetLcdLowDownByWechatVideoScene, {1, 0}), ElementsAre(60, 90));
    EXPECT_THAT(rates([this](int32_t mode) { framework.send(POWER_MODE, mode); }, {1, 2, 4, 0}),
                ElementsAre(60, 90, 60, 90));
}

TEST_F(SceneEvents, CountVirtualDisplaysWithoutClamping) {
    start(HighRate());
    EXPECT_THAT(rates(FpsCommon::OnVirtualDisplayEventReceived, {1, 1, 0, 0}),
                ElementsAre(60, 60, 60, 90));
    EXPECT_THAT(rates(FpsCommon::OnVirtualDisplayEventReceived, {0, 5, 1, 1}),
                ElementsAre(90, 90, 90, 60));
    EXPECT_EQ(FpsCommon::virtualDisplayStatus, 1);
}

TEST_F(SceneEvents, DecideAnewEvenForValuesThatChangeNothing) {
    start(HighRate());
    decisions();
    FpsCommon::OnDisplayHotplugEventReceived(3);
    FpsCommon::OnVirtualDisplayEventReceived(3);
    FpsCommon::SetLcdLowDownByTpPointer(3);
    EXPECT_EQ(decisions().size(), 3u);
    FpsCommon::OnFullVideoStatusReceived(3);
    EXPECT_THAT(decisions(), IsEmpty());
}

TEST_F(SceneEvents, IgnoreTheTouchPointerWhenConfiguredSo) {
    start(HighRate(R"(<Param name="TP_pointer_position_switch" value="0"/>)"));
    decisions();
    FpsCommon::SetLcdLowDownByTpPointer(1);
    EXPECT_FALSE(FpsCommon::underTpPointerControl);
    EXPECT_THAT(decisions(), IsEmpty());
}

TEST_F(SceneEvents, LogVideoCalls) {
    start(HighRate());
    logs.take();
    FpsCommon::SetLcdLowDownByWechatVideoScene(true);
    EXPECT_EQ(logs.take().front(),
              "I/KVTService: fpscommon: wechat: start video call and set down 60Hz");
    FpsCommon::SetLcdLowDownByWechatVideoScene(false);
    EXPECT_EQ(logs.take().front(), "I/KVTService: fpscommon: wechat: end video call and recover");
}

TEST_F(SceneEvents, TolerateAsManyGpuCompositionsAsConfigured) {
    const struct {
        int32_t limit;
        std::vector<int32_t> events;
        std::vector<int32_t> hz;
        int32_t timesFull;
    } cases[] = {
        {1, {0, 1, 1, 0, 5, 1}, {90, 60, 60, 60, 60, 60}, 2},
        {3, {1, 0, 1, 2, 1, 0}, {60, 90, 60, 90, 60, 60}, 1},
    };
    for (const auto& c : cases) {
        EXPECT_EXIT(
            {
                start(GpuComposition(c.limit));
                EXPECT_EQ(rates(FpsCommon::OnGpuCompositionEventReceived, c.events), c.hz);
                EXPECT_EQ(FpsCommon::gpuCompositionCount, c.limit);
                int full = 0;
                for (const std::string& line : logs.take()) {
                    full += line == "I/KVTService: Gpu-KVT: Gpu composition count full" ? 1 : 0;
                }
                EXPECT_EQ(full, c.timesFull);
                focus("com.example.next");
                EXPECT_EQ(panelHz(), 90);
                EXPECT_EQ(FpsCommon::gpuCompositionCount, 0);
                exit(HasFailure() ? 1 : 0);
            },
            testing::ExitedWithCode(0), "")
            << c.limit;
    }
}

TEST_F(SceneEvents, SpareGamesAndTheBenchmarkFromGpuComposition) {
    start(GpuComposition(1));
    type("com.example.game", 9);
    for (const char* pkg :
         {"com.example.game", "net.kishonti.gfxbench.vulkan.v50000.corporate.two"}) {
        focus(pkg);
        decisions();
        FpsCommon::OnGpuCompositionEventReceived(1);
        EXPECT_THAT(decisions(), IsEmpty()) << pkg;
        EXPECT_EQ(FpsCommon::gpuCompositionStatus, 0) << pkg;
    }
}

TEST_F(SceneEvents, IgnoreGpuCompositionByDefault) {
    start(HighRate());
    FpsCommon::OnGpuCompositionEventReceived(1);
    EXPECT_EQ(panelHz(), 90);
}

TEST_F(SceneEvents, LetFingerprintUnlockHaveItsRate) {
    start(ConfigWith(""));
    const std::string pay = "com.example.pay";
    const std::string systemUi = "com.android.systemui";
    framework.fingerprint(pay, 1);
    EXPECT_EQ(panelHz(), 90);
    framework.fingerprint(systemUi, 0);
    EXPECT_EQ(panelHz(), 90) << "the system UI can not end another package's unlock";
    focus("com.example.app");
    EXPECT_EQ(panelHz(), 90) << "other events wait";
    framework.fingerprint(pay, 2);
    EXPECT_EQ(panelHz(), 60);
    framework.fingerprint(pay, 0);
    framework.fingerprint(systemUi, 1);
    EXPECT_EQ(panelHz(), 90);
    framework.fingerprint(systemUi, 2);
    EXPECT_EQ(panelHz(), 60) << "it can change its own";
    framework.fingerprint(pay, 0);
    EXPECT_EQ(FpsCommon::fingerprintStatus, 0) << "anyone may replace the system UI's";
    EXPECT_EQ(decisions().back(), "app-fixed app-code 60");
}

TEST_F(SceneEvents, RefuseFingerprintMessagesThatMakeNoSense) {
    start();
    logs.take();
    const struct {
        const char* pkg;
        int32_t status;
    } cases[] = {{"com.example.pay", 3}, {"com.example.pay", -1}, {"", 1}};
    for (const auto& c : cases) {
        FpsCommon::OnFingerprintMessageReceived(c.pkg, c.status);
        EXPECT_THAT(logs.take(),
                    ElementsAre("E/KVTService: kvt-fingerprint: params invalid, packageName: " +
                                std::string(c.pkg) + ", status: " + std::to_string(c.status)));
    }
    EXPECT_EQ(FpsCommon::fingerprintStatus, 0);
}

TEST_F(SceneEvents, StoreAFingerprintThatOthersOverrule) {
    const std::string overruled = "I/KVTService: kvt-fingerprint: under control by others";
    start(ConfigWith(R"(<Param name="application_list"><list name="app_pkg_perceptible_list">
        <pkg>app.high</pkg></list></Param><Param name="setting_switch"><setting id="0">
        <switch name="app_perceptible_switch" value="3"/></setting></Param>)"));
    FpsCommon::SetLcdLowDownByWechatVideoScene(true);
    logs.take();
    framework.fingerprint("com.example.pay", 1);
    EXPECT_EQ(logs.take().back(), overruled);
    EXPECT_EQ(FpsCommon::fingerprintStatus, 1);
    EXPECT_EQ(panelHz(), 60);
    FpsCommon::SetLcdLowDownByWechatVideoScene(false);
    EXPECT_EQ(panelHz(), 60) << "no decision while the unlock goes on";
    framework.fingerprint("com.example.pay", 0);
    packages("a", {"a", "app.high"});
    EXPECT_EQ(panelHz(), 90);
    logs.take();
    framework.fingerprint("com.example.pay", 2);
    EXPECT_EQ(logs.take().back(), overruled) << "different codes overrule it, too";
    EXPECT_EQ(panelHz(), 90);
}

TEST_F(SceneEvents, WaitWithTheirDecisionForAnUnlockToEnd) {
    start(GpuComposition(5));
    framework.fingerprint("com.example.pay", 1);
    decisions();
    FpsCommon::OnDisplayHotplugEventReceived(1);
    FpsCommon::OnVirtualDisplayEventReceived(1);
    FpsCommon::SetLcdLowDownByTpPointer(1);
    FpsCommon::SetLcdLowDownByWechatVideoScene(true);
    FpsCommon::OnFullVideoStatusReceived(1);
    FpsCommon::OnGpuCompositionEventReceived(1);
    framework.send(POWER_MODE, 1);
    framework.send(LCD_SETTING, 2);
    focus("com.norvik.android.launcher");
    EXPECT_THAT(decisions(), IsEmpty());
    EXPECT_EQ(panelHz(), 90);
    EXPECT_TRUE(FpsCommon::underDisplayHotplugControl && FpsCommon::underTpPointerControl &&
                FpsCommon::underWechatVideoScene && FpsCommon::underFullVideoScene &&
                FpsCommon::powerModeSwitch);
    EXPECT_EQ(FpsCommon::virtualDisplayStatus, 1);
    EXPECT_EQ(FpsCommon::gpuCompositionStatus, 1);
    EXPECT_EQ(FpsCommon::lcdSetting, 2);
    framework.fingerprint("com.example.pay", 0);
    EXPECT_THAT(decisions(), ElementsAre("hold display-hotplug 60"));
}

TEST_F(SceneEvents, RecoverTheBindingOfTheBigCoresToo) {
    start(HighRate());
    framework.send(LCD_SETTING, 1);
    framework.fingerprint("com.example.pay", 1);
    ASSERT_TRUE(android::base::WriteStringToFile("spoilt", path("cpus")));
    FpsCommon::RecoverLcd();
    EXPECT_EQ(cpus(), "4-7") << "during an unlock as well";
}

TEST_F(SceneEvents, RecoverThePanel) {
    start(HighRate());
    FpsCommon::RecoverLcd();
    EXPECT_EQ(panelHz(), 90);
    logs.take();
    fakes.panel->changeByItself("60");
    FpsCommon::RecoverLcd();
    EXPECT_EQ(panelHz(), 90);
    EXPECT_EQ(logs.take().front(), "I/KVTService: LcdFpsControl: recover lcd fps 90");
    framework.fingerprint("com.example.pay", 1);
    fakes.panel->changeByItself("60");
    FpsCommon::RecoverLcd();
    EXPECT_EQ(panelHz(), 60) << "not during an unlock";
}

/** In front of the panel: lets things happen before it is asked anything. */
class Interruption : public android::BBinder {
  public:
    Interruption(const android::sp<IBinder>& panel, std::function<void()> interrupt)
        : mPanel(panel), mInterrupt(std::move(interrupt)) {}

  protected:
    android::status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                                 uint32_t flags) override {
        mInterrupt();
        return mPanel->transact(code, data, reply, flags);
    }

  private:
    const android::sp<IBinder> mPanel;
    const std::function<void()> mInterrupt;
};

TEST_F(SceneEvents, RecoverNothingThatAStrategyChangesMeanwhile) {
    bool recovering = false;
    std::optional<VirtualThread> strategy;
    const auto dropTo60 = [&] {
        if (std::exchange(recovering, false)) {
            strategy.emplace("strategy", [] { LcdFpsControl::SetLcdFps(60); });
            VirtualTime::Settle();
        }
    };
    android::defaultServiceManager()->addService(android::String16(vendor::kDisplayService),
                                                 new Interruption(fakes.panel, dropTo60));
    start(HighRate());
    recovering = true;
    FpsCommon::RecoverLcd();
    strategy->Join();
    EXPECT_EQ(panelHz(), 60);
}

TEST_F(SceneEvents, RecoverAFixedRateToo) {
    property("persist.dynamicfps.switch", "90");
    start();
    fakes.panel->changeByItself("60");
    FpsCommon::RecoverLcd();
    EXPECT_EQ(panelHz(), 90);
    EXPECT_EQ(cpus(), "") << "the binding belongs to the dynamic policy";
}

}  // namespace
}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <algorithm>
#include <utility>

#include "tests/support/Phone.h"

namespace KVT {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class SceneEvents : public Phone {
  public:
    /** Every application at 90 Hz, so that every low rate has another reason. */
    void startHigh() {
        defaultCodes(3, 2);
        start();
        decisions();
    }
    void startWithGpuComposition(int32_t limit) {
        FpsCommon::tables.gpuCompositionSwitch = true;
        FpsCommon::tables.gpuCompositionCountLimit = limit;
        startHigh();
    }

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

    const std::string pay = "com.example.pay";
};

TEST_F(SceneEvents, LowerTheRateWhileTheyLast) {
    startHigh();
    EXPECT_THAT(rates(FpsCommon::OnDisplayHotplugEventReceived, {1, 3, 0, -1}),
                ElementsAre(60, 60, 90, 90));
    EXPECT_THAT(rates(FpsCommon::SetLcdLowDownByTpPointer, {1, 2, 0}), ElementsAre(60, 60, 90));
    EXPECT_THAT(rates(FpsCommon::OnFullVideoStatusReceived, {1, 3, 0}), ElementsAre(60, 60, 90));
    EXPECT_THAT(rates(FpsCommon::SetLcdLowDownByWechatVideoScene, {1, 0}), ElementsAre(60, 90));
    EXPECT_THAT(rates([this](int32_t mode) { framework.send(POWER_MODE, mode); }, {1, 2, 4, 0}),
                ElementsAre(60, 90, 60, 90));
    EXPECT_THAT(rates(FpsCommon::OnVirtualDisplayEventReceived, {1, 1, 0, 0, 0, 5, 1, 1}),
                ElementsAre(60, 60, 60, 90, 90, 90, 90, 60))
        << "counted without clamping";
}

TEST_F(SceneEvents, DecideAnewEvenForValuesThatChangeNothing) {
    startHigh();
    FpsCommon::OnDisplayHotplugEventReceived(3);
    FpsCommon::OnVirtualDisplayEventReceived(3);
    FpsCommon::SetLcdLowDownByTpPointer(3);
    EXPECT_THAT(decisions(), SizeIs(3));
    FpsCommon::OnFullVideoStatusReceived(3);
    EXPECT_THAT(decisions(), IsEmpty());
}

TEST_F(SceneEvents, IgnoreWhatTheConfigurationSwitchesOff) {
    FpsCommon::tables.tpPointerSwitch = false;  // the switch of GPU composition is off by default
    startHigh();
    FpsCommon::SetLcdLowDownByTpPointer(1);
    FpsCommon::OnGpuCompositionEventReceived(1);
    EXPECT_EQ(scenes(), "");
    EXPECT_THAT(decisions(), IsEmpty());
}

TEST_F(SceneEvents, LogVideoCalls) {
    startHigh();
    FpsCommon::SetLcdLowDownByWechatVideoScene(true);
    EXPECT_EQ(logs.take().front(),
              "I/KVTService: fpscommon: wechat: start video call and set down 60Hz");
    FpsCommon::SetLcdLowDownByWechatVideoScene(false);
    EXPECT_EQ(logs.take().front(), "I/KVTService: fpscommon: wechat: end video call and recover");
}

TEST_F(SceneEvents, TolerateAsManyGpuCompositionsAsConfigured) {
    const struct {
        int32_t limit;
        std::vector<int32_t> events, hz;
        int32_t timesFull;
    } cases[] = {
        {1, {0, 1, 1, 0, 5, 1}, {90, 60, 60, 60, 60, 60}, 2},
        {3, {1, 0, 1, 2, 1, 0}, {60, 90, 60, 90, 60, 60}, 1},
    };
    for (const auto& c : cases) {
        apart([&] {
            startWithGpuComposition(c.limit);
            EXPECT_EQ(rates(FpsCommon::OnGpuCompositionEventReceived, c.events), c.hz);
            EXPECT_EQ(FpsCommon::gpuCompositionCount, c.limit);
            const std::vector<std::string> lines = logs.take();
            EXPECT_EQ(std::count(lines.begin(), lines.end(),
                                 "I/KVTService: Gpu-KVT: Gpu composition count full"),
                      c.timesFull);
            focus("com.example.next");
            EXPECT_EQ(panelHz(), 90);
            EXPECT_EQ(FpsCommon::gpuCompositionCount, 0);
        });
    }
}

TEST_F(SceneEvents, SpareGamesAndTheBenchmarkFromGpuComposition) {
    startWithGpuComposition(1);
    type("com.example.game", kTypeGame);
    for (const char* pkg :
         {"com.example.game", "net.kishonti.gfxbench.vulkan.v50000.corporate.two"}) {
        focus(pkg);
        decisions();
        FpsCommon::OnGpuCompositionEventReceived(1);
        EXPECT_THAT(decisions(), IsEmpty()) << pkg;
        EXPECT_EQ(FpsCommon::gpuCompositionStatus, 0) << pkg;
    }
}

TEST_F(SceneEvents, LetFingerprintUnlockHaveItsRate) {
    const struct {
        const char* pkg;
        int32_t status;
        int32_t hz;
        const char* what;
    } cases[] = {
        {"com.example.pay", 1, 90, "asks for the high rate"},
        {"com.android.systemui", 0, 90, "can not end another package's unlock"},
        {"com.example.pay", 2, 60, "changes its own"},
        {"com.example.pay", 0, 60, "ends it"},
        {"com.android.systemui", 1, 90, "asks"},
        {"com.android.systemui", 2, 60, "can change its own"},
        {"com.example.pay", 0, 60, "may replace the system UI's"},
    };
    start();
    for (const auto& c : cases) {
        framework.fingerprint(c.pkg, c.status);
        EXPECT_EQ(panelHz(), c.hz) << c.pkg << " " << c.what;
        focus("com.example.app");
        EXPECT_EQ(panelHz(), c.hz) << "other events wait";
    }
    EXPECT_EQ(FpsCommon::fingerprintStatus, 0);
    EXPECT_EQ(decisions().back(), "app-fixed app-code 60");
}

TEST_F(SceneEvents, RefuseFingerprintMessagesThatMakeNoSense) {
    start();
    for (const auto& [pkg, status] : {std::pair(pay, 3), {pay, -1}, {"", 1}}) {
        FpsCommon::OnFingerprintMessageReceived(pkg, status);
        EXPECT_THAT(logs.take(),
                    ElementsAre("E/KVTService: kvt-fingerprint: params invalid, packageName: " +
                                pkg + ", status: " + std::to_string(status)));
    }
    EXPECT_EQ(FpsCommon::fingerprintStatus, 0);
}

TEST_F(SceneEvents, WaitWithTheirDecisionForAnUnlockToEnd) {
    startWithGpuComposition(5);
    framework.fingerprint(pay, 1);
    decisions();
    everyScene();
    focus("com.norvik.android.launcher");
    EXPECT_THAT(decisions(), IsEmpty());
    EXPECT_EQ(panelHz(), 90);
    EXPECT_EQ(scenes(),
              "display_hotplug=1 virtual_displays=1 touch_pointer=1 power_saving=1 "
              "video_call=1 full_video=1 gpu_composition=1 gpu_composition_count=1 "
              "fingerprint=1 ");
    EXPECT_EQ(FpsCommon::lcdSetting, 2);
    framework.fingerprint(pay, 0);
    EXPECT_THAT(decisions(), ElementsAre("hold display-hotplug 60"));
}

TEST_F(SceneEvents, RecoverThePanelAndTheBindingOfTheBigCores) {
    startHigh();
    framework.send(LCD_SETTING, 1);
    const auto spoil = [this] {
        ASSERT_TRUE(android::base::WriteStringToFile("spoilt", path("cpus")));
        fakes.panel->changeByItself("60");
        logs.take();
        FpsCommon::RecoverLcd();
    };
    spoil();
    EXPECT_EQ(logs.take().front(), "I/KVTService: LcdFpsControl: recover lcd fps 90");
    EXPECT_EQ(panelHz(), 90);
    EXPECT_EQ(cpus(), "4-7");
    FpsCommon::RecoverLcd();
    EXPECT_THAT(logs.take(), IsEmpty()) << "nothing to recover";
    framework.fingerprint(pay, 1);
    spoil();
    EXPECT_EQ(panelHz(), 60) << "not during an unlock";
    EXPECT_EQ(cpus(), "4-7") << "during an unlock as well";
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

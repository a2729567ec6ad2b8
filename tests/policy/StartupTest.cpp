// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <algorithm>

#include "common/Turn.h"
#include "display/LcdFpsControl.h"
#include "linux/vendor/Protocol.h"
#include "tests/support/Phone.h"

namespace KVT {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Startup : public Phone {
  public:
    /** The property in which the start leaves the default setting; empty when it read none. */
    static std::string defaultSetting() {
        char value[PROPERTY_VALUE_MAX];
        property_get("ro.kvt.zr_screen_default_freq", value, "");
        return value;
    }

    void expectEventsIgnored() {
        decisions();
        FpsCommon::tables.gpuCompositionSwitch = true;
        const int32_t before = panelHz();
        everyScene();
        framework.fingerprint("com.example.pay", 1);
        EXPECT_THAT(decisions(), IsEmpty());
        EXPECT_EQ(panelHz(), before);
        EXPECT_EQ(FpsCommon::powerMode, 2);
        EXPECT_EQ(FpsCommon::lcdSetting, 0);
        EXPECT_EQ(scenes(), "");
    }
};

TEST_F(Startup, RunsTheDynamicPolicy) {
    start(ConfigWith(R"(<Param name="setting_switch_id_default" value="2"/>)"));
    EXPECT_EQ(FpsCommon::switchAll, 0);
    EXPECT_EQ(defaultSetting(), "2");
    EXPECT_EQ(FpsCommon::lcdSetting, 2) << "the default of the configuration";
    EXPECT_EQ(FpsCommon::powerMode, 0);
    // One decision for the power mode, while the setting is still 0, and one for the setting.
    EXPECT_THAT(decisions(), ElementsAre("app-fixed app-code 60", "app-fixed app-code 90"));
    EXPECT_EQ(panelHz(), 90);
    EXPECT_EQ(fakes.classifier->asked("com.norvik.android.launcher"), 0)
        << "everyone knows the launcher";
}

TEST_F(Startup, MayBePartOfATurn) {
    Turn::Take(
        [this] { start(ConfigWith(R"(<Param name="setting_switch_id_default" value="2"/>)")); });
    EXPECT_EQ(FpsCommon::lcdSetting, 2);
}

TEST_F(Startup, TellsTheCompositorFirst) {
    FpsCommon::Init();
    const auto calls = fakes.compositor->takeCalls();
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls[0].code, 7011u);
    EXPECT_EQ(calls[0].bytes.rbegin()[3], 1) << "the panel has more than one rate";
}

TEST_F(Startup, WaitsForTheCompositorWithWhatItIsToldOnce) {
    const std::string config = ConfigWith(R"(<Param name="SF_composition_config"></Param>)");
    const struct {
        int64_t upAfterS;
        std::vector<uint32_t> toldAtStart;
    } cases[] = {{3, {7011, 7014}}, {7, {7014}}, {11, {}}};
    for (const auto& c : cases) {
        apart([&] {
            fakes.withdraw("SurfaceFlinger");
            VirtualThread phone("phone", [&] {
                SleepFor(c.upAfterS * kNsPerS);
                fakes.publish();
            });
            ASSERT_TRUE(android::base::WriteStringToFile(config, path("kvt_config.xml")));
            FpsCommon::Init();
            std::vector<uint32_t> once = told();
            once.erase(std::remove(once.begin(), once.end(), 7012u), once.end());
            EXPECT_EQ(once, c.toldAtStart) << c.upAfterS;
            phone.Join();
            focus("com.example.app");
            EXPECT_FALSE(told().empty());
        });
    }
}

TEST_F(Startup, TakesModeAndSettingFromProperties) {
    property("persist.sys.smart_power", "4");
    property("persist.sys.zr_screen_freq", "1");
    start();
    EXPECT_TRUE(FpsCommon::powerModeSwitch);
    EXPECT_EQ(FpsCommon::lcdSetting, 1);
    EXPECT_THAT(decisions(), ElementsAre("hold power-saving 60", "hold power-saving 60"));
    EXPECT_EQ(cpus(), "4-7");
}

TEST_F(Startup, ReadsNonsenseInPropertiesAsZero) {
    property("persist.dynamicfps.switch", "on");
    property("persist.sys.smart_power", "low");
    property("persist.sys.zr_screen_freq", "7");
    start();
    EXPECT_EQ(FpsCommon::switchAll, 0);
    EXPECT_EQ(FpsCommon::powerMode, 0);
    EXPECT_EQ(FpsCommon::lcdSetting, 0);
}

TEST_F(Startup, StaysOffOnASlowPanelAndWithAFixedRate) {
    using Rates = std::vector<std::string>;
    const struct {
        Rates panelRates;
        const char* masterSwitch;
        int32_t switchAll;
        int32_t hz;
        bool configured;
    } cases[] = {
        {{"60"}, "0", 60, 60, false},        {{"90", "60"}, "0", 60, 60, false},
        {{"60n"}, "90", 60, 60, false},      {{"60", "90"}, "60", 60, 60, false},
        {{"60", "90"}, "90", 90, 90, false}, {{"60", "90"}, "120", 60, 60, false},
        {{"60", "90"}, "1", 60, 60, false},  {{"60", "90"}, "-1", -1, 60, true},
    };
    for (const auto& c : cases) {
        apart([&] {
            SCOPED_TRACE(c.panelRates.back() + ", " + c.masterSwitch);
            panel(c.hz == 90 || c.configured ? "60" : "90", c.panelRates);
            property("persist.dynamicfps.switch", c.masterSwitch);
            start();
            EXPECT_EQ(FpsCommon::switchAll, c.switchAll);
            EXPECT_EQ(panelHz(), c.hz);
            EXPECT_EQ(!defaultSetting().empty(), c.configured);
            expectEventsIgnored();
        });
    }
}

TEST_F(Startup, StillFollowsThePackageWhileOff) {
    property("persist.dynamicfps.switch", "90");
    type("com.example.game", kTypeGame);
    start();
    focus("com.example.game");
    EXPECT_EQ(FpsCommon::CurrentPkgName(), "com.example.game");
    EXPECT_TRUE(FpsCommon::gameScene);
    EXPECT_THAT(logs.take(), ElementsAre(HasSubstr("focus pkgName"), HasSubstr("new pkgName"),
                                         HasSubstr("this is game")));
    EXPECT_THAT(told(), IsEmpty());
    EXPECT_THAT(decisions(), IsEmpty());
    focus("com.example.game");
    EXPECT_EQ(panelHz(), 90);
}

TEST_F(Startup, LivesWithoutItsPeers) {
    for (const char* name :
         {"SurfaceFlinger", "IKoraCMSService", vendor::kSchedService, vendor::kPerfService,
          vendor::kDisplayEngineService, vendor::kGameSdkService}) {
        fakes.withdraw(name);
    }
    start();
    framework.send(LCD_SETTING, 2);
    EXPECT_EQ(panelHz(), 90) << "the panel is there, so the policy goes on";
    focus("com.example.app");
    EXPECT_EQ(FpsCommon::CurrentPkgName(), "com.example.app");
    EXPECT_EQ(decisions().back(), "app-fixed app-code 90");
}

TEST_F(Startup, StaysOffWithoutADisplay) {
    fakes.withdraw(vendor::kDisplayService);
    start();
    EXPECT_EQ(FpsCommon::switchAll, 60) << "no display, no rates to choose from";
    focus("com.example.app");
    EXPECT_EQ(FpsCommon::CurrentPkgName(), "com.example.app");
}

TEST_F(Startup, StoresSettingsThatItKnowsAndLeavesTheBigCoresToGames) {
    type("com.example.game", kTypeGame);
    start();
    const struct {
        int32_t setting, stored;
        const char* vipCpus;
    } cases[] = {{1, 1, "4-7"}, {2, 2, "0-7"}, {1, 1, "4-7"}, {7, 0, "0-7"}, {-1, 0, "0-7"}};
    for (const auto& c : cases) {
        framework.send(LCD_SETTING, c.setting);
        EXPECT_EQ(FpsCommon::lcdSetting, c.stored) << c.setting;
        EXPECT_EQ(cpus(), c.vipCpus) << c.setting;
    }
    framework.send(LCD_SETTING, 1);
    focus("com.example.game");
    EXPECT_EQ(cpus(), "0-7");
    focus("com.example.app");
    EXPECT_EQ(cpus(), "4-7");
}

TEST_F(Startup, StaysInTheNormalModeUnlessTheSettingAllowsMore) {
    panel("60n", {"60n", "90"});
    fakes.panel->behave(&sim::FakePanel::Behaviour::normal, "60n");
    start();
    framework.send(LCD_SETTING, 2);  // application code 3
    EXPECT_EQ(fakes.panel->requests().back(), 0);
    EXPECT_THAT(logs.take(), Contains(HasSubstr("refresh frame num has run out")));
    framework.send(LCD_SETTING, 1);
    EXPECT_EQ(fakes.panel->requests().back(), 4);
    EXPECT_EQ(panelHz(), 90);
}

}  // namespace
}  // namespace KVT

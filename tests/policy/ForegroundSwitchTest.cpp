// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "policy/Consequences.h"
#include "tests/support/Bytes.h"
#include "tests/support/Phone.h"

namespace KVT {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

/** Setting 0: one package prefix per code, for applications and for games. */
std::string OneSwitchPerRun(int32_t appCode, int32_t gameCode) {
    const auto entry = [](const char* name, int32_t code) {
        return "<switch name=\"" + std::string(name) + "\" value=\"" + std::to_string(code) +
               "\"/>";
    };
    return ConfigWith("<Param name=\"setting_switch\"><setting id=\"0\">" +
                      entry("app_perceptible_switch", appCode) +
                      entry("game_perceptible_switch", gameCode) +
                      R"(</setting></Param><Param name="application_list">
                      <list name="app_pkg_perceptible_list"><pkg>app.listed*</pkg></list>
                      <list name="game_pkg_perceptible_list"><pkg>game.listed*</pkg></list>
                      </Param>)");
}

class ForegroundSwitch : public Phone {
  public:
    ForegroundSwitch() {
        for (const char* game : {"game.listed", "game.a", "game.b"}) {
            type(game, 9);
        }
    }
    /** Decisions and compositor calls from here on. */
    void begin() {
        settle();
        decisions();
    }
};

TEST_F(ForegroundSwitch, TurnsEachCodeIntoARateOrAStrategy) {
    const struct {
        int32_t code;
        const char* app;
        const char* appArmed;
        const char* game;
        const char* gameArmed;
    } cases[] = {
        {1, "app-fixed app-code 30", "none", "game-fixed game-code 30", "none"},
        {2, "app-fixed app-code 60", "none", "game-fixed game-code 60", "none"},
        {3, "app-fixed app-code 90", "none", "game-const-high game-code 90", "const90"},
        {4, "app-fixed app-code 120", "none", "game-fixed game-code 120", "none"},
        {5, "app-fixed app-code 144", "none", "game-fixed game-code 144", "none"},
        {6, "app-fixed app-code 240", "none", "game-fixed game-code 240", "none"},
        {9, "app-dynamic app-code 0", "app", "game-dynamic game-code 60", "game"},
    };
    for (const auto& c : cases) {
        EXPECT_EXIT(
            {
                panel("60", {"30", "60", "90"});
                start(OneSwitchPerRun(c.code, c.code));
                begin();
                focus("app.listed.x");
                EXPECT_THAT(decisions(), ElementsAre(c.app)) << c.code;
                EXPECT_EQ(armed(), c.appArmed) << c.code;
                focus("game.listed");
                EXPECT_THAT(decisions(), ElementsAre(c.game)) << c.code;
                EXPECT_EQ(armed(), c.gameArmed) << c.code;
                exit(HasFailure() ? 1 : 0);
            },
            testing::ExitedWithCode(0), "");
    }
}

TEST_F(ForegroundSwitch, MovesThePanelFromAFrameworkEvent) {
    start(OneSwitchPerRun(3, 3));
    focus("app.listed.reader");
    EXPECT_EQ(panelHz(), 90);
    focus("com.example.mail");
    EXPECT_EQ(panelHz(), 60);
}

TEST_F(ForegroundSwitch, TellsTheCompositorInOrder) {
    start(OneSwitchPerRun(9, 9));
    begin();
    const std::string token = "00000080 ffffffff 1b000000 ~'android.ui.ISurfaceComposer' 0000";
    focus("app.listed.feed");
    auto calls = fakes.compositor->takeCalls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].code, 7013u);
    EXPECT_EQ(calls[0].bytes, FromHex(token + "01000000"));
    EXPECT_EQ(calls[1].code, 7012u);
    EXPECT_EQ(calls[1].bytes, FromHex(token + "01000000"));
    EXPECT_TRUE(fakes.compositor->wantsTouchEvents());
    focus("game.listed");
    calls = fakes.compositor->takeCalls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].bytes, FromHex(token + "00000000"));
    EXPECT_EQ(calls[1].code, 7012u);
    EXPECT_EQ(calls[1].bytes, FromHex(token + "00000000"));
    for (const auto& call : calls) {
        EXPECT_EQ(call.flags, 1u);
    }
    focus("game.listed");
    EXPECT_THAT(told(), ElementsAre(7012u)) << "the same package again: a decision, no news";
    EXPECT_THAT(decisions(), testing::SizeIs(3));
}

TEST_F(ForegroundSwitch, ForgetsWhatBelongedToTheLastPackage) {
    start(OneSwitchPerRun(3, 9));
    FpsCommon::limitedGameFps = 40;
    FpsCommon::forcedGameFps = 90;
    FpsCommon::SetLcdLowDownByWechatVideoScene(true);
    FpsCommon::OnFullVideoStatusReceived(1);
    FpsCommon::gpuCompositionStatus = 1;
    FpsCommon::gpuCompositionCount = 1;
    FpsCommon::OnDisplayHotplugEventReceived(1);
    focus("com.example.app");
    EXPECT_FALSE(FpsCommon::underWechatVideoScene);
    EXPECT_FALSE(FpsCommon::underFullVideoScene);
    EXPECT_EQ(FpsCommon::gpuCompositionStatus, 0);
    EXPECT_EQ(FpsCommon::gpuCompositionCount, 0);
    EXPECT_TRUE(FpsCommon::underDisplayHotplugControl) << "the display outlives the package";
    EXPECT_EQ(FpsCommon::limitedGameFps, 40) << "only a game resets the limits";
    focus("game.listed");
    EXPECT_EQ(FpsCommon::limitedGameFps, -1);
    EXPECT_EQ(FpsCommon::forcedGameFps, -1);
    EXPECT_TRUE(FpsCommon::gameScene);
    EXPECT_TRUE(FpsCommon::gameAppStart);
    EXPECT_EQ(decisions().back(), "hold display-hotplug 60");
}

TEST_F(ForegroundSwitch, ChoosesTheForegroundOfASplitScreen) {
    start(OneSwitchPerRun(3, 9));
    using Visible = std::vector<std::string>;
    const struct {
        const char* name;
        const char* current;
        const char* focus;
        Visible visible;
        const char* then;
        int32_t multiApp;
        bool decided;
    } cases[] = {
        {"nothing visible", "x", "a", {}, "a", 0, true},
        {"focus is a game", "x", "game.a", {"a", "game.a", "game.b"}, "game.a", 0, true},
        {"current game stays", "game.a", "a", {"a", "game.a", "game.b"}, "game.a", 0, false},
        {"the one game counts", "x", "a", {"a", "game.a"}, "game.a", 0, true},
        {"of two games neither", "x", "a", {"a", "game.a", "game.b"}, "a", 0, true},
        {"same codes", "x", "a", {"a", "b"}, "a", 0, true},
        {"different codes", "x", "a", {"a", "app.listed"}, "a", 1, true},
        {"different code of the focus", "x", "app.listed", {"a"}, "app.listed", 1, true},
        {"focus alone", "x", "a", {"a"}, "a", 0, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        focus(c.current);
        begin();
        packages(c.focus, c.visible);
        EXPECT_EQ(FpsCommon::CurrentPkgName(), c.then);
        EXPECT_EQ(FpsCommon::underMultiAppStatus, c.multiApp);
        EXPECT_EQ(!decisions().empty(), c.decided);
        EXPECT_EQ(panelHz(), c.multiApp == 1 ? 90 : 60);
    }
}

TEST_F(ForegroundSwitch, CanBeTakenStepByStep) {
    start(OneSwitchPerRun(3, 9));
    FpsCommon::OnPackageInfoUpate("a", {"a", "game.a"}, "x");
    EXPECT_EQ(FpsCommon::CurrentPkgName(), "game.a");
    FpsCommon::DoWithPackageUpdate("app.listed");
    EXPECT_EQ(panelHz(), 90);
    FpsCommon::gameScene = true;
    FpsCommon::ForeAppSwitchToGame();
    EXPECT_FALSE(FpsCommon::gameScene);
    decisions();
    FpsCommon::DoWithForeAppSwitch();
    EXPECT_THAT(decisions(), ElementsAre("app-fixed app-code 90"));
    FpsCommon::fingerprintStatus = 1;
    FpsCommon::DoWithForeAppSwitch();
    EXPECT_THAT(decisions(), IsEmpty());
}

TEST_F(ForegroundSwitch, HoldsSplitScreensLowWhenToldTo) {
    start(ConfigWith(R"(<Param name="force_multi_app_lcd_fps" value="1"/>)"));
    begin();
    packages("a", {"a"});
    EXPECT_THAT(decisions(), ElementsAre("hold multi-app-forced 60"));
    packages("a", {});
    EXPECT_THAT(decisions(), ElementsAre("app-fixed app-code 60"));
}

TEST_F(ForegroundSwitch, GivesTheForegroundBackWhenAGameExits) {
    start(OneSwitchPerRun(3, 9));
    const auto exitWith = [this](const char* pkg, int32_t state) {
        begin();
        FpsCommon::OnGameExitReceived(pkg, state);
        return decisions();
    };
    packages("a", {"a", "game.a"});
    EXPECT_EQ(FpsCommon::CurrentPkgName(), "game.a");
    EXPECT_THAT(exitWith("game.a", 1), IsEmpty());
    EXPECT_THAT(exitWith("a", 0), IsEmpty());
    EXPECT_THAT(exitWith("game.b", 0), IsEmpty()) << "not visible";
    EXPECT_THAT(exitWith("game.a", 0), ElementsAre("app-fixed app-code 60"));
    EXPECT_EQ(FpsCommon::CurrentPkgName(), "a");
    EXPECT_THAT(exitWith("game.a", 0), IsEmpty()) << "no longer visible";
    packages("game.a", {"game.a"});
    EXPECT_THAT(exitWith("game.a", 0), IsEmpty()) << "a game has the focus";
}

TEST_F(ForegroundSwitch, HoldsCompatibilityTestsAndTheNextPackageLow) {
    start(OneSwitchPerRun(3, 9));
    for (const char* test : {"android.view.cts", "android.view.cts.more",
                             "com.android.compatibility.common.deviceinfo",
                             "com.android.server.cts.device.graphicsstats"}) {
        SCOPED_TRACE(test);
        focus("app.listed");
        begin();
        focus(test);
        EXPECT_EQ(panelHz(), 60);
        EXPECT_EQ(FpsCommon::ctsTestCount, 2);
        focus("app.listed.2");
        EXPECT_EQ(panelHz(), 60);
        focus("app.listed.2");
        EXPECT_EQ(panelHz(), 60) << "the same package does not count down";
        focus("app.listed.3");
        EXPECT_EQ(panelHz(), 90);
        EXPECT_THAT(decisions(),
                    ElementsAre("hold compatibility-test 60", "hold compatibility-test 60",
                                "hold compatibility-test 60", "app-fixed app-code 90"));
    }
    focus("android.view.ct");
    EXPECT_EQ(FpsCommon::ctsTestCount, 0);
}

TEST_F(ForegroundSwitch, TreatsAnUnknownPackageAsAnApplication) {
    start(OneSwitchPerRun(3, 9));
    fakes.classifier->failCalls(android::DEAD_OBJECT);
    begin();
    focus("game.listed");
    EXPECT_THAT(decisions(), ElementsAre("app-fixed app-code 60"));
    EXPECT_THAT(logs.take(), Contains("I/KVTService: fpscommon: this is non game, type -1"));
}

TEST_F(ForegroundSwitch, KeepsQuietWithoutACompositor) {
    start(OneSwitchPerRun(3, 9));
    fakes.withdraw("SurfaceFlinger");
    begin();
    const int64_t before = MonotonicNow();
    focus("app.listed");
    EXPECT_EQ(panelHz(), 90);
    EXPECT_EQ(MonotonicNow() - before, 5 * kNsPerS) << "waited for in vain, once";
    focus("app.listed.2");
    EXPECT_EQ(MonotonicNow() - before, 5 * kNsPerS) << "and not again";
    fakes.publish();
    focus("app.listed.3");
    EXPECT_EQ(told().front(), 7013u);
    for (const std::string& line : logs.take()) {
        EXPECT_THAT(line, Not(testing::HasSubstr("Surface")));
    }
}

TEST_F(ForegroundSwitch, AsksForATypeOnceAnEventHoweverOftenItIsNeeded) {
    start();
    fakes.classifier->failCalls(android::DEAD_OBJECT);
    for (const int32_t events : {1, 2}) {
        packages("app.a", {"app.a", "app.b"});
        EXPECT_EQ(fakes.classifier->asked("app.a"), events);
        EXPECT_EQ(fakes.classifier->asked("app.b"), events);
    }
}

TEST_F(ForegroundSwitch, LetsTheStrategyHearTheGameSdk) {
    start();
    logs.take();
    fakes.gameSdk->report(R"({"pkg":"com.tencent.tmgp.pubgmhd","1":101,"10":60})");
    EXPECT_EQ(logs.take(),
              std::vector<std::string>(
                  {"I/KVTService: GameDynamicFps: 60fps Pubg On Aeroplane, not check fps"}));
}

TEST_F(ForegroundSwitch, HandsAGamesRateToTheArmedStrategyAlone) {
    const struct {
        bool dynamic, constHigh;
        std::vector<std::string> lines;
    } cases[] = {
        {false, false, {}},
        {false, true, {"I/KVTService: GameHighFps: signal 45fps"}},
        {true, false, {"I/KVTService: GameDynamicFps: signal 46fps"}},
        {true, true, {"I/KVTService: GameDynamicFps: signal 47fps"}},
    };
    start();
    int32_t fps = 44;
    for (const auto& c : cases) {
        FpsCommon::gameDynamicSwitch = c.dynamic;
        FpsCommon::gameConst90Switch = c.constHigh;
        logs.take();
        Consequences::GetInstance()->onGameRate(fps++);
        EXPECT_EQ(logs.take(), c.lines);
    }
}

}  // namespace
}  // namespace KVT

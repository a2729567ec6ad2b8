// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "config/XmlParser.h"
#include "policy/CodeChoice.h"
#include "policy/Consequences.h"
#include "tests/support/Phone.h"

namespace KVT {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class ForegroundSwitch : public Phone {
  public:
    ForegroundSwitch() {
        for (const char* game : {"game.listed", "game.a", "game.b"}) {
            type(game, kTypeGame);
        }
    }
    void begin(int32_t appCode, int32_t gameCode) {
        listPackages(appCode, gameCode);
        start();
        decisions();
    }
};

TEST_F(ForegroundSwitch, TurnsEachCodeIntoARateOrAStrategy) {
    const struct {
        int32_t code;
        const char* app;
        const char* game;
    } cases[] = {
        {1, "app-fixed app-code 30, none", "game-fixed game-code 30, none"},
        {2, "app-fixed app-code 60, none", "game-fixed game-code 60, none"},
        {3, "app-fixed app-code 90, none", "game-const-high game-code 90, const90"},
        {4, "app-fixed app-code 120, none", "game-fixed game-code 120, none"},
        {5, "app-fixed app-code 144, none", "game-fixed game-code 144, none"},
        {6, "app-fixed app-code 240, none", "game-fixed game-code 240, none"},
        {9, "app-dynamic app-code 0, app", "game-dynamic game-code 60, game"},
    };
    start();
    for (const auto& c : cases) {
        const std::string suffix = "listed." + std::to_string(c.code);
        type("game." + suffix, kTypeGame);
        listPackages(c.code, c.code);
        focus("app." + suffix);
        EXPECT_EQ(decisions().back() + ", " + armed(), c.app);
        focus("game." + suffix);
        EXPECT_EQ(decisions().back() + ", " + armed(), c.game);
    }
}

TEST_F(ForegroundSwitch, TellsTheCompositorInOrder) {
    begin(9, 9);
    for (const bool isGame : {false, true}) {
        focus(isGame ? "game.listed" : "app.listed.feed");
        const auto calls = fakes.compositor->takeCalls();
        ASSERT_EQ(calls.size(), 2u);
        EXPECT_EQ(calls[0].code, 7013u);
        EXPECT_EQ(calls[0].bytes.rbegin()[3], isGame ? 0 : 1);
        EXPECT_EQ(calls[1].code, 7012u);
        EXPECT_EQ(fakes.compositor->wantsTouchEvents(), !isGame);
    }
    focus("game.listed");
    EXPECT_THAT(told(), ElementsAre(7012u)) << "the same package again: a decision, no news";
    EXPECT_THAT(decisions(), testing::SizeIs(3));
}

TEST_F(ForegroundSwitch, ForgetsWhatBelongedToTheLastPackage) {
    begin(3, 9);
    FpsCommon::tables.gpuCompositionSwitch = true;
    FpsCommon::limitedGameFps = 40;
    FpsCommon::forcedGameFps = 90;
    everyScene();
    FpsCommon::gpuCompositionCount = 3;
    focus("com.example.app");
    EXPECT_EQ(scenes(), "display_hotplug=1 virtual_displays=1 touch_pointer=1 power_saving=1 ")
        << "they outlive the package";
    EXPECT_EQ(FpsCommon::limitedGameFps, 40) << "only a game resets the limits";
    focus("game.listed");
    EXPECT_EQ(FpsCommon::limitedGameFps, -1);
    EXPECT_EQ(FpsCommon::forcedGameFps, -1);
    EXPECT_TRUE(FpsCommon::gameScene);
    EXPECT_TRUE(FpsCommon::gameAppStart);
}

TEST_F(ForegroundSwitch, ChoosesTheForegroundOfASplitScreen) {
    const struct {
        const char* name;
        const char* current;
        const char* focus;
        std::vector<std::string> visible;
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
    begin(3, 9);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        focus(c.current);
        decisions();
        packages(c.focus, c.visible);
        EXPECT_EQ(FpsCommon::CurrentPkgName(), c.then);
        EXPECT_EQ(FpsCommon::underMultiAppStatus, c.multiApp);
        EXPECT_EQ(!decisions().empty(), c.decided);
        EXPECT_EQ(panelHz(), c.multiApp == 1 ? 90 : 60);
    }
}

TEST_F(ForegroundSwitch, CanBeTakenStepByStep) {
    begin(3, 9);
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
    FpsCommon::tables.multiAppLcdFpsSwitch = true;
    begin(3, 9);
    packages("a", {"a"});
    packages("a", {});
    EXPECT_THAT(decisions(), ElementsAre("hold multi-app-forced 60", "app-fixed app-code 60"));
}

TEST_F(ForegroundSwitch, GivesTheForegroundBackWhenAGameExits) {
    const auto exitWith = [this](const char* pkg, int32_t state) {
        decisions();
        FpsCommon::OnGameExitReceived(pkg, state);
        return decisions();
    };
    begin(3, 9);
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
    begin(3, 9);
    for (const char* test : {"android.view.cts", "android.view.cts.more",
                             "com.android.compatibility.common.deviceinfo",
                             "com.android.server.cts.device.graphicsstats"}) {
        SCOPED_TRACE(test);
        focus("app.listed");
        decisions();
        // The same package again does not count down.
        for (const char* pkg : {test, "app.listed.2", "app.listed.2"}) {
            focus(pkg);
            EXPECT_EQ(panelHz(), 60) << pkg;
            EXPECT_EQ(FpsCommon::ctsTestCount, pkg == test ? 2 : 1);
        }
        EXPECT_THAT(decisions(), Each("hold compatibility-test 60"));
        focus("app.listed.3");
        EXPECT_EQ(panelHz(), 90);
    }
    focus("android.view.ct");
    EXPECT_EQ(FpsCommon::ctsTestCount, 0);
}

TEST_F(ForegroundSwitch, KeepsQuietWithoutACompositor) {
    begin(3, 9);
    fakes.withdraw("SurfaceFlinger");
    const int64_t before = MonotonicNow();
    for (const char* pkg : {"app.listed", "app.listed.2"}) {
        focus(pkg);
        EXPECT_EQ(panelHz(), 90);
        EXPECT_EQ(MonotonicNow() - before, 5 * kNsPerS) << "waited for in vain, once";
    }
    fakes.publish();
    focus("app.listed.3");
    EXPECT_EQ(told().front(), 7013u);
    EXPECT_THAT(logs.take(), Each(Not(HasSubstr("Surface"))));
}

TEST_F(ForegroundSwitch, TreatsUnknownPackagesAsApplicationsAndAsksOnceAnEvent) {
    begin(3, 9);
    fakes.classifier->failCalls(android::DEAD_OBJECT);
    for (const int32_t events : {1, 2}) {
        packages("game.listed", {"game.listed", "app.b"});
        EXPECT_THAT(decisions(), ElementsAre("app-fixed app-code 60"));
        EXPECT_EQ(fakes.classifier->asked("game.listed"), events);
        EXPECT_EQ(fakes.classifier->asked("app.b"), events);
    }
    EXPECT_THAT(logs.take(), Contains("I/KVTService: fpscommon: this is non game, type -1"));
}

TEST_F(ForegroundSwitch, LetsTheStrategyHearTheGameSdk) {
    start();
    fakes.gameSdk->report(R"({"pkg":"com.tencent.tmgp.pubgmhd","1":101,"10":60})");
    EXPECT_THAT(
        logs.take(),
        ElementsAre("I/KVTService: GameDynamicFps: 60fps Pubg On Aeroplane, not check fps"));
}

/** Setting 1 of a file in which every switch and list can be told from every other. */
ConfigTables Distinct() {
    ConfigTables tables;
    tables.settingSwitchMap[1] = {{"app_default", 1},
                                  {"game_default", 2},
                                  {"app_perceptible_switch", 3},
                                  {"app_imperceptible_switch", 4},
                                  {"game_perceptible_switch", 5},
                                  {"game_imperceptible_switch", 6}};
    tables.settingSwitchMap[2] = {{"app_default", 1}, {"app_perceptible_switch", 0}};
    tables.appTypeFilterMap["app_type_perceptible_list"] = {10, 12};
    tables.appTypeFilterMap["app_type_imperceptible_list"] = {11, 12};
    tables.appPkgFilterMap["app_pkg_perceptible_list"].insert("com.high");
    for (const char* low : {"com.low", "com.high.low"}) {
        tables.appPkgFilterMap["app_pkg_imperceptible_list"].insert(low);
    }
    tables.gameFilterMap["game_pkg_perceptible_list"].insert("com.high");
    tables.gameFilterMap["game_pkg_imperceptible_list"].insert("com.");
    return tables;
}

TEST(CodeChoice, PrefersPackageOverTypeOverDefault) {
    const ConfigTables tables = Distinct();
    const struct {
        bool game;
        int32_t setting;
        const char* pkg;
        int32_t type;
        int32_t code;
        const char* decidedBy;
    } cases[] = {
        {false, 1, "org.app", 0, 1, "app_default"},
        {false, 1, "org.app", 10, 3, "app_type_perceptible_list"},
        {false, 1, "org.app", 11, 4, "app_type_imperceptible_list"},
        {false, 1, "org.app", 12, 3, "app_type_perceptible_list"},
        {false, 1, "com.high.low", 11, 3, "app_pkg_perceptible_list"},
        {false, 1, "com.low.app", 10, 4, "app_pkg_imperceptible_list"},
        {false, 2, "com.high", 10, 1, "app_default"},
        {false, 2, "com.low", 11, 1, "app_default"},
        {false, 0, "com.high", 10, 0, "app_default"},
        {true, 1, "com.high.game", 9, 5, "game_pkg_perceptible_list"},
        {true, 1, "com.game", 9, 6, "game_pkg_imperceptible_list"},
        {true, 1, "org.game", 9, 2, "game_default"},
        {true, 2, "com.high.game", 9, 0, "game_default"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.pkg) + " " + std::to_string(c.type));
        const CodeChoice choice = c.game ? ChooseGameCode(tables, c.setting, c.pkg)
                                         : ChooseAppCode(tables, c.setting, c.pkg, c.type);
        EXPECT_EQ(choice.code, c.code);
        EXPECT_STREQ(choice.listName != nullptr ? choice.listName : choice.switchName, c.decidedBy);
    }
}

TEST(PackageCode, IsKeptForEachSetting) {
    XmlParser::Init();
    FpsCommon::tables.appPkgFilterMap["app_pkg_perceptible_list"].insert("com.example");
    EXPECT_EQ(FpsCommon::GetAppCode("com.example.app", 1), 2);
    FpsCommon::lcdSetting = 1;
    EXPECT_EQ(FpsCommon::GetAppCode("com.example.app", 1), 9);
    EXPECT_EQ(FpsCommon::GetGameCode("com.example.app"), 9);
    FpsCommon::tables.settingSwitchMap.clear();
    EXPECT_EQ(FpsCommon::GetAppCode("com.example.app", 1), 9);
    EXPECT_EQ(FpsCommon::GetAppCode("com.example.new", 1), 0) << "no entry reads as code 0";
    FpsCommon::lcdSetting = 0;
    EXPECT_EQ(FpsCommon::GetAppCode("com.example.app", 1), 2);
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

// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "StrategyWorld.h"
#include "common/Codes.h"
#include "policy/FpsCommon.h"
#include "strategy/GameDynamicFps.h"
#include "strategy/GameHighFps.h"

namespace KVT {
namespace {

const auto kSet = [] { GameDynamicFps::GetInstance()->Set(); };
const auto kReset = [] { GameDynamicFps::GetInstance()->Reset(); };
const auto kHighSet = [] { GameHighFps::GetInstance()->Set(); };
const auto kHighReset = [] { GameHighFps::GetInstance()->Reset(); };

std::function<void()> Fps(std::vector<int32_t> rates) {
    return [rates] {
        for (const int32_t rate : rates) {
            GameDynamicFps::GetInstance()->SetGameFps(rate);
        }
    };
}
std::function<void()> HighFps(std::vector<int32_t> rates) {
    return [rates] {
        for (const int32_t rate : rates) {
            GameHighFps::GetInstance()->SetGameFps(rate);
        }
    };
}
std::function<void()> Panel(int32_t hz) {
    return [hz] { StrategyWorld::PutPanelAt(hz); };
}
std::function<void()> Report(const std::string& json) {
    return [json] {
        GameDynamicFps::GetInstance()->UpdateGameSdkInfo(android::String8(json.c_str()));
    };
}
std::function<void()> Sdk(const char* scene, const char* fps) {
    std::string json = "{\"pkg\":\"com.tencent.tmgp.pubgmhd\"";
    json += *scene != 0 ? std::string(",\"1\":") + scene : "";
    json += *fps != 0 ? std::string(",\"10\":") + fps : "";
    return Report(json + "}");
}
const auto kResetAndSet = [] {
    kReset();
    kSet();
};
const auto kResetAndSet60 = [] {
    kReset();
    StrategyWorld::PutPanelAt(60);
    kSet();
    Fps({60})();
};
const auto kResetAndSet75 = [] {
    kReset();
    StrategyWorld::PutPanelAt(60);
    kSet();
    Fps({75})();
};

const std::string kRegister = "0.000 register RES:com.tencent.tmgp.pubgmhd->pkg|1|10\n";

std::string Line(const char* at, const std::string& text) {
    return std::string(at) + " KVTService I " + text + '\n';
}
std::string Signal(const char* at, int fps) {
    return Line(at, "GameDynamicFps: signal " + std::to_string(fps) + "fps");
}
std::string To90(const char* at) {
    return std::string(at) + " panel 90\n" + Line(at, "GameDynamicFps: set lcd to 90Hz");
}
std::string To60(const char* at) {
    return std::string(at) + " panel 60\n" + Line(at, "GameDynamicFps: set lcd to 60Hz");
}
std::string TrialFrom(const char* at) {
    return std::string(at) + " panel 90\n" + Line(at, "GameDynamicFps: set lcd to 90Hz 5s") + at +
           " scheduler 90, forced 90\n";
}
std::string BackAt(const char* at) {
    return std::string(at) + " panel 60\n" +
           Line(at, "GameDynamicFps: set lcd to 60Hz back after 5s");
}
std::string HighSignal(const char* at, int fps) {
    return Line(at, "GameHighFps: signal " + std::to_string(fps) + "fps");
}
std::string BoostFrom(const char* at) {
    return Line(at, "GameHighFps: send 90fps to sched 5s: start") + at +
           " scheduler 90, forced 90\n";
}
std::string BoostEnd(const char* at) {
    return Line(at, "GameHighFps: send 90fps to sched: end");
}
std::string Aeroplane(const char* at) {
    return Line(at, "GameDynamicFps: 90fps Pubg On Aeroplane, will check fps");
}
std::string NoAeroplane(const char* at, int fps) {
    return Line(at,
                "GameDynamicFps: " + std::to_string(fps) + "fps Pubg On Aeroplane, not check fps");
}

struct Case {
    const char* name;
    std::vector<TimedAction> actions;
    std::string trace;
};

void PrintTo(const Case& each, std::ostream* out) {
    *out << each.name;
}

class GameStrategies : public testing::TestWithParam<Case> {};

TEST_P(GameStrategies, FollowTheGame) {
    StrategyWorld::Create();
    GameDynamicFps::GetInstance()->StartCheckFpsThread();
    GameHighFps::GetInstance()->StartCheckFpsThread();
    VirtualTime::Settle();
    Play(GetParam().actions, 20'000);
    EXPECT_EQ(StrategyWorld::Trace(), kRegister + GetParam().trace);
    EXPECT_EQ(FpsCommon::forcedGameFps, kNoGameFps);
}

const Case kCases[] = {
    // The ladder, at both rates of the panel.
    {"Above60AtLow", {{0, kSet}, {100, Fps({61})}}, Signal("0.100", 61) + To90("0.100")},
    {"Above60AtHigh", {{0, Panel(90)}, {0, kSet}, {100, Fps({61})}}, Signal("0.100", 61)},
    {"Below46AtHigh",
     {{0, Panel(90)}, {0, kSet}, {100, Fps({45})}},
     Signal("0.100", 45) + To60("0.100")},
    {"Below46AtLow", {{0, kSet}, {100, Fps({45})}}, Signal("0.100", 45)},
    {"BandAtHigh",
     {{0, Panel(90)}, {0, kSet}, {100, Fps({46})}, {200, Fps({59})}, {300, Fps({60})}},
     Signal("0.100", 46) + Signal("0.200", 59) + Signal("0.300", 60)},
    {"BandAtLow",
     {{0, kSet}, {100, Fps({46})}, {200, Fps({59})}},
     Signal("0.100", 46) + Signal("0.200", 59)},
    {"AnyOtherPanelRate",
     {{0, Panel(120)}, {0, kSet}, {100, Fps({61})}, {200, Fps({45})}, {300, Fps({60})}},
     Signal("0.100", 61) + Signal("0.200", 45) + Signal("0.300", 60)},
    {"UnchangedRateIsSilent",
     {{0, kSet}, {50, Fps({0})}, {100, Fps({75})}, {200, Panel(60)}, {300, Fps({75})}},
     Signal("0.100", 75) + To90("0.100")},
    {"Disarmed", {{100, Fps({75})}, {200, Fps({60})}}, Signal("0.100", 75) + Signal("0.200", 60)},
    {"ARateFromBeforeArmingIsForgotten",
     {{0, Panel(90)}, {100, Fps({30})}, {200, kSet}},
     Signal("0.100", 30)},
    {"ArmingAnewAtHighLeavesThePanel", {{0, Panel(90)}, {100, kResetAndSet}}, ""},

    // The trial.
    {"TrialWithoutClimb",
     {{0, kSet}, {100, Fps({60})}, {3000, Fps({60})}},
     Signal("0.100", 60) + TrialFrom("0.100") + BackAt("5.100")},
    {"TrialWithClimb",
     {{0, kSet}, {100, Fps({60})}, {3000, Fps({61})}},
     Signal("0.100", 60) + TrialFrom("0.100") + Signal("3.000", 61)},
    {"TrialWithFall",
     {{0, kSet}, {100, Fps({60})}, {3000, Fps({59})}},
     Signal("0.100", 60) + TrialFrom("0.100") + Signal("3.000", 59) + BackAt("3.000")},
    {"TrialEndedByReset",
     {{0, kSet}, {100, Fps({60})}, {3000, kReset}},
     Signal("0.100", 60) + TrialFrom("0.100")},
    {"EachArrivalGetsATrial",
     {{0, kSet}, {100, Fps({60})}, {6000, Fps({59})}, {7000, Fps({60})}},
     Signal("0.100", 60) + TrialFrom("0.100") + BackAt("5.100") + Signal("6.000", 59) +
         Signal("7.000", 60) + TrialFrom("7.000") + BackAt("12.000")},
    {"AlsoAnArrivalInTheMomentATrialEnds",
     {{0, kSet}, {100, Fps({60})}, {3000, Fps({59, 60})}},
     Signal("0.100", 60) + TrialFrom("0.100") + Signal("3.000", 59) + Signal("3.000", 60) +
         BackAt("3.000") + TrialFrom("3.000") + BackAt("8.000")},
    {"NextGameArrivesWhileATrialEnds",
     {{0, kSet}, {100, Fps({60})}, {3000, kResetAndSet60}},
     Signal("0.100", 60) + TrialFrom("0.100") + Signal("3.000", 60) + TrialFrom("3.000") +
         BackAt("8.000")},
    {"NextGameIsNotKnownWhenATrialEnds",
     {{0, kSet}, {100, Fps({60})}, {3000, kResetAndSet}},
     Signal("0.100", 60) + TrialFrom("0.100")},
    {"NorIsARateOfTheGameBeforeItsOwn",
     {{0, kSet}, {100, Fps({60})}, {3000, [] { Fps({59})(), kResetAndSet(); }}},
     Signal("0.100", 60) + TrialFrom("0.100") + Signal("3.000", 59)},
    {"NextGameClimbsWhileATrialEnds",
     {{0, kSet}, {100, Fps({60})}, {3000, kResetAndSet75}},
     Signal("0.100", 60) + TrialFrom("0.100") + Signal("3.000", 75) + To90("3.000")},

    // The game SDK.
    {"AeroplaneLooksAgainOnce",
     {{0, kSet},
      {100, Fps({75})},
      {200, Panel(60)},
      {300, Sdk("101", "90")},
      {400, Panel(60)},
      {500, Sdk("101", "90")}},
     Signal("0.100", 75) + To90("0.100") + Aeroplane("0.300") + To90("0.300")},
    {"AeroplaneAfterAnotherScene",
     {{0, kSet}, {100, Sdk("101", "90")}, {200, Sdk("5", "")}, {300, Sdk("101", "")}},
     Aeroplane("0.100") + Aeroplane("0.300")},
    {"AeroplaneEndsATrial",
     {{0, kSet}, {100, Fps({60})}, {2000, Sdk("101", "90")}},
     Signal("0.100", 60) + TrialFrom("0.100") + Aeroplane("2.000") + BackAt("2.000")},
    {"AeroplaneAtAnotherRate",
     {{0, kSet}, {100, Sdk("101", "")}, {200, Sdk("101", "60")}, {300, Sdk("101", "\"90\"")}},
     NoAeroplane("0.100", 30) + NoAeroplane("0.200", 60) + NoAeroplane("0.300", 60)},
    {"NoSceneLeavesTheFlag",
     {{0, kSet}, {100, Sdk("101", "90")}, {200, Sdk("\"5\"", "")}, {300, Sdk("101", "90")}},
     Aeroplane("0.100")},
    {"ArmingForgetsTheReports",
     {{0, kSet},
      {100, Sdk("101", "90")},
      {200, kSet},
      {300, Sdk("101", "")},
      {400, Sdk("101", "90")}},
     Aeroplane("0.100") + NoAeroplane("0.300", 30) + Aeroplane("0.400")},
    {"NobodyElseIsListenedTo",
     {{0, kSet}, {100, Report(R"({"pkg":"com.example","1":101,"10":90})")}, {200, Report("{")}},
     ""},

    // The constant-high strategy never touches the panel.
    {"Boost",
     {{0, kHighSet}, {100, HighFps({60})}, {3000, HighFps({60})}},
     HighSignal("0.100", 60) + BoostFrom("0.100") + BoostEnd("5.100")},
    {"BoostEndsWithTheRate",
     {{0, kHighSet}, {100, HighFps({60})}, {3000, HighFps({59})}},
     HighSignal("0.100", 60) + BoostFrom("0.100") + HighSignal("3.000", 59) + BoostEnd("3.000")},
    {"BoostEndsWithReset",
     {{0, kHighSet}, {100, HighFps({60})}, {3000, kHighReset}},
     HighSignal("0.100", 60) + BoostFrom("0.100") + BoostEnd("3.000")},
    {"EachArrivalGetsABoost",
     {{0, kHighSet}, {100, HighFps({60})}, {3000, HighFps({61, 60})}},
     HighSignal("0.100", 60) + BoostFrom("0.100") + HighSignal("3.000", 61) +
         HighSignal("3.000", 60) + BoostEnd("3.000") + BoostFrom("3.000") + BoostEnd("8.000")},
    {"NoBoostAtOtherRates",
     {{0, kHighSet}, {100, HighFps({59})}, {200, HighFps({61})}},
     HighSignal("0.100", 59) + HighSignal("0.200", 61)},
    {"NoBoostDisarmed", {{100, HighFps({60})}, {200, kHighSet}}, HighSignal("0.100", 60)},
};

INSTANTIATE_TEST_SUITE_P(Table, GameStrategies, testing::ValuesIn(kCases),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(GameSdkRegistration, IsRetriedOnEverySetUntilItSucceeds) {
    StrategyWorld::Create();
    StrategyWorld::LetSdkRegister(false);
    kSet();
    kSet();
    StrategyWorld::LetSdkRegister(true);
    kSet();
    kSet();
    EXPECT_EQ(StrategyWorld::Trace(), kRegister + kRegister + kRegister + kRegister);
}

/** Done by the game SDK each time it is asked to register, before it answers. */
void WhileRegistering(const std::function<void()>& action) {
    StrategyWorld::SetObserver([action](const std::string& what) {
        if (what.rfind("register", 0) == 0) {
            action();
        }
    });
}

TEST(GameSdkRegistration, MayReportBeforeTheFirstUseIsOver) {
    StrategyWorld::Create();
    WhileRegistering(Sdk("101", "90"));
    GameDynamicFps::GetInstance();
    EXPECT_EQ(StrategyWorld::Trace(), Aeroplane("0.000") + kRegister);
}

TEST(GameSdkRegistration, MayReportWhileTheStrategyIsBeingSet) {
    StrategyWorld::Create();
    StrategyWorld::LetSdkRegister(false);
    GameDynamicFps::GetInstance();
    WhileRegistering(Sdk("101", "90"));
    kSet();
    EXPECT_EQ(StrategyWorld::Trace(), kRegister + Aeroplane("0.000") + kRegister);
}

TEST(GameSdkRegistration, IsOneForUsersThatCompete) {
    StrategyWorld::Create();
    WhileRegistering([] { VirtualThread("another user", kSet).Join(); });
    kSet();
    EXPECT_EQ(StrategyWorld::Trace(), kRegister);
}

/** A forced rate is handed over between the strategies without one undoing the other's. */
TEST(ForcedRate, IsNotUndoneByAStrategyThatWasReset) {
    StrategyWorld::Create();
    GameDynamicFps::GetInstance()->StartCheckFpsThread();
    GameHighFps::GetInstance()->StartCheckFpsThread();
    Play({{0, kSet}, {100, Fps({60})}}, 1000);
    EXPECT_EQ(FpsCommon::forcedGameFps, 90);
    kReset();
    EXPECT_EQ(FpsCommon::forcedGameFps, kNoGameFps) << "at once";
    kHighSet();
    HighFps({60})();
    VirtualTime::Settle();
    EXPECT_EQ(FpsCommon::forcedGameFps, 90);
    SleepFor(5 * kNsPerS);
    VirtualTime::Settle();
    EXPECT_EQ(FpsCommon::forcedGameFps, kNoGameFps);
}

TEST(ForcedRate, IsNotUndoneByAStrategyWhoseTrialIsOver) {
    StrategyWorld::Create();
    GameDynamicFps::GetInstance()->StartCheckFpsThread();
    GameHighFps::GetInstance()->StartCheckFpsThread();
    Play({{0, kSet}, {100, Fps({60})}, {6000, kHighSet}, {6100, HighFps({60})}}, 7000);
    kReset();
    EXPECT_EQ(FpsCommon::forcedGameFps, 90);
}

}  // namespace
}  // namespace KVT

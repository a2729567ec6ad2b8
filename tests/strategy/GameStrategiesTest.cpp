// SPDX-License-Identifier: Apache-2.0
#include "StrategyCase.h"
#include "common/Codes.h"
#include "state/PolicyState.h"
#include "strategy/GameDynamicFps.h"
#include "strategy/GameHighFps.h"

namespace KVT {
namespace {

const auto kSet = [] { GameDynamicFps::GetInstance()->Set(); };
const auto kReset = [] { GameDynamicFps::GetInstance()->Reset(); };
const auto kHighSet = [] { GameHighFps::GetInstance()->Set(); };
const auto kHighReset = [] { GameHighFps::GetInstance()->Reset(); };

Action Fps(int32_t fps) {
    return [fps] { GameDynamicFps::GetInstance()->SetGameFps(fps); };
}
Action HighFps(int32_t fps) {
    return [fps] { GameHighFps::GetInstance()->SetGameFps(fps); };
}
Action Panel(int32_t hz) {
    return [hz] { StrategyWorld::Phone().panel->changeByItself(std::to_string(hz)); };
}
Action Report(const std::string& json) {
    return [json] {
        GameDynamicFps::GetInstance()->UpdateGameSdkInfo(android::String8(json.c_str()));
    };
}
Action Pubg(const std::string& keys) {
    return Report(R"({"pkg":"com.tencent.tmgp.pubgmhd",)" + keys + "}");
}
const Action kAeroplaneAt90 = Pubg(R"("1":101,"10":90)");
/** The next game comes, at once with its frame rate. */
Action NextGame(int32_t fps) {
    return AtOnce({kReset, Panel(60), kSet, Fps(fps)});
}

// What a strategy does, as the trace shows it.
const std::string kRegister = "register RES:com.tencent.tmgp.pubgmhd->pkg|1|10\n";
const std::string kDynamic = "KVTService I GameDynamicFps: ";
const std::string kTo90 = "panel 90\n" + kDynamic + "set lcd to 90Hz\n";
const std::string kTo60 = "panel 60\n" + kDynamic + "set lcd to 60Hz\n";
const std::string kTrial =
    "panel 90\n" + kDynamic + "set lcd to 90Hz 5s\nscheduler 90, forced 90\n";
const std::string kBack = "panel 60\n" + kDynamic + "set lcd to 60Hz back after 5s\n";
const std::string kAeroplane = kDynamic + "90fps Pubg On Aeroplane, will check fps\n";
const std::string kHigh = "KVTService I GameHighFps: ";
const std::string kBoost = kHigh + "send 90fps to sched 5s: start\nscheduler 90, forced 90\n";
const std::string kBoostEnd = kHigh + "send 90fps to sched: end\n";

std::string Signal(int32_t fps) {
    return kDynamic + "signal " + std::to_string(fps) + "fps\n";
}
std::string HighSignal(int32_t fps) {
    return kHigh + "signal " + std::to_string(fps) + "fps\n";
}
std::string NoAeroplane(int32_t fps) {
    return kDynamic + std::to_string(fps) + "fps Pubg On Aeroplane, not check fps\n";
}

/** A game of the dynamic strategy that came to 60 at 0.1 s, and what happens then. */
StrategyCase InTrial(const char* name, std::vector<TimedAction> then, const std::string& trace) {
    then.insert(then.begin(), {{0, kSet}, {100, Fps(60)}});
    return {name, std::move(then), At("0.100", Signal(60) + kTrial) + trace};
}
/** The same of the constant-high strategy. */
StrategyCase InBoost(const char* name, std::vector<TimedAction> then, const std::string& trace) {
    then.insert(then.begin(), {{0, kHighSet}, {100, HighFps(60)}});
    return {name, std::move(then), At("0.100", HighSignal(60) + kBoost) + trace};
}

void StartBoth() {
    StrategyWorld::Create();
    GameDynamicFps::GetInstance()->StartCheckFpsThread();
    GameHighFps::GetInstance()->StartCheckFpsThread();
    VirtualTime::Settle();
}

class GameStrategies : public testing::TestWithParam<StrategyCase> {};

TEST_P(GameStrategies, FollowTheGame) {
    StartBoth();
    Play(GetParam().actions, 20'000);
    EXPECT_EQ(StrategyWorld::Trace(), At("0.000", kRegister) + GetParam().trace);
    EXPECT_EQ(PolicyState::forcedGameFps, kNoGameFps);
}

const StrategyCase kCases[] = {
    // The ladder, at each rate of the panel.
    {"UpAbove60AndDownBelow46",
     {{0, kSet}, {100, Fps(61)}, {200, Fps(45)}},
     At("0.100", Signal(61) + kTo90) + At("0.200", Signal(45) + kTo60)},
    {"NothingToRaiseAtHigh",
     {{0, Panel(90)}, {0, kSet}, {100, Fps(61)}, {200, Fps(46)}, {300, Fps(59)}, {400, Fps(60)}},
     At("0.100", Signal(61)) + At("0.200", Signal(46)) + At("0.300", Signal(59)) +
         At("0.400", Signal(60))},
    {"NothingToLowerAtLow",
     {{0, kSet}, {100, Fps(45)}, {200, Fps(46)}, {300, Fps(59)}},
     At("0.100", Signal(45)) + At("0.200", Signal(46)) + At("0.300", Signal(59))},
    {"AnyOtherPanelRate",
     {{0, Panel(120)}, {0, kSet}, {100, Fps(61)}, {200, Fps(45)}, {300, Fps(60)}},
     At("0.100", Signal(61)) + At("0.200", Signal(45)) + At("0.300", Signal(60))},
    {"UnchangedRateIsSilent",
     {{0, kSet}, {50, Fps(0)}, {100, Fps(75)}, {200, Panel(60)}, {300, Fps(75)}},
     At("0.100", Signal(75) + kTo90)},
    {"Disarmed",
     {{100, Fps(75)}, {200, Fps(60)}},
     At("0.100", Signal(75)) + At("0.200", Signal(60))},
    {"ARateFromBeforeArmingIsForgotten",
     {{0, Panel(90)}, {100, Fps(30)}, {200, kSet}},
     At("0.100", Signal(30))},
    {"ArmingAnewAtHighLeavesThePanel", {{0, Panel(90)}, {100, AtOnce({kReset, kSet})}}, ""},

    // The trial.
    InTrial("TrialWithoutClimb", {{3000, Fps(60)}}, At("5.100", kBack)),
    InTrial("TrialWithClimb", {{3000, Fps(61)}}, At("3.000", Signal(61))),
    InTrial("TrialWithFall", {{3000, Fps(59)}}, At("3.000", Signal(59) + kBack)),
    InTrial("TrialEndedByReset", {{3000, kReset}}, ""),
    InTrial("AlsoAnArrivalInTheMomentATrialEnds", {{3000, AtOnce({Fps(59), Fps(60)})}},
            At("3.000", Signal(59) + Signal(60) + kBack + kTrial) + At("8.000", kBack)),
    InTrial("NextGameArrivesWhileATrialEnds", {{3000, NextGame(60)}},
            At("3.000", Signal(60) + kTrial) + At("8.000", kBack)),
    InTrial("NextGameIsNotKnownWhenATrialEnds", {{3000, AtOnce({Fps(59), kReset, kSet})}},
            At("3.000", Signal(59))),
    InTrial("NextGameClimbsWhileATrialEnds", {{3000, NextGame(75)}},
            At("3.000", Signal(75) + kTo90)),
    InTrial("AeroplaneEndsATrial", {{2000, kAeroplaneAt90}}, At("2.000", kAeroplane + kBack)),

    // The game SDK.
    {"AeroplaneLooksAgainOnce",
     {{0, kSet},
      {100, Fps(75)},
      {200, Panel(60)},
      {300, kAeroplaneAt90},
      {400, Panel(60)},
      {500, kAeroplaneAt90}},
     At("0.100", Signal(75) + kTo90) + At("0.300", kAeroplane + kTo90)},
    {"AeroplaneAfterAnotherScene",
     {{0, kSet}, {100, kAeroplaneAt90}, {200, Pubg(R"("1":5)")}, {300, Pubg(R"("1":101)")}},
     At("0.100", kAeroplane) + At("0.300", kAeroplane)},
    {"AeroplaneAtAnotherRate",
     {{0, kSet},
      {100, Pubg(R"("1":101)")},
      {200, Pubg(R"("1":101,"10":60)")},
      {300, Pubg(R"("1":101,"10":"90")")}},
     At("0.100", NoAeroplane(30)) + At("0.200", NoAeroplane(60)) + At("0.300", NoAeroplane(60))},
    {"NoSceneLeavesTheFlag",
     {{0, kSet}, {100, kAeroplaneAt90}, {200, Pubg(R"("1":"5")")}, {300, kAeroplaneAt90}},
     At("0.100", kAeroplane)},
    {"ArmingForgetsTheReports",
     {{0, kSet},
      {100, kAeroplaneAt90},
      {200, kSet},
      {300, Pubg(R"("1":101)")},
      {400, kAeroplaneAt90}},
     At("0.100", kAeroplane) + At("0.300", NoAeroplane(30)) + At("0.400", kAeroplane)},
    {"NobodyElseIsListenedTo",
     {{0, kSet}, {100, Report(R"({"pkg":"com.example","1":101,"10":90})")}, {200, Report("{")}},
     ""},

    // The constant-high strategy never touches the panel.
    InBoost("BoostForFiveSeconds", {{3000, HighFps(60)}}, At("5.100", kBoostEnd)),
    InBoost("BoostEndsWithTheRate", {{3000, HighFps(59)}}, At("3.000", HighSignal(59) + kBoostEnd)),
    InBoost("BoostEndsWithReset", {{3000, kHighReset}}, At("3.000", kBoostEnd)),
    InBoost(
        "EachArrivalGetsABoost", {{3000, AtOnce({HighFps(61), HighFps(60)})}},
        At("3.000", HighSignal(61) + HighSignal(60) + kBoostEnd + kBoost) + At("8.000", kBoostEnd)),
    {"NoBoostAtOtherRates",
     {{0, kHighSet}, {100, HighFps(59)}, {200, HighFps(61)}},
     At("0.100", HighSignal(59)) + At("0.200", HighSignal(61))},
    {"NoBoostDisarmed", {{100, HighFps(60)}, {200, kHighSet}}, At("0.100", HighSignal(60))},
};

INSTANTIATE_TEST_SUITE_P(Table, GameStrategies, testing::ValuesIn(kCases), NameOfCase);

TEST(GameSdkRegistration, IsRetriedOnEverySetUntilItSucceeds) {
    StrategyWorld::Create();
    StrategyWorld::Phone().gameSdk->answer(0);
    kSet();
    kSet();
    StrategyWorld::Phone().gameSdk->answer(1);
    kSet();
    kSet();
    EXPECT_EQ(StrategyWorld::Trace(), At("0.000", kRegister + kRegister + kRegister + kRegister));
}

/** Done by the game SDK each time it is asked to register, before it answers. */
void WhileRegistering(const Action& action) {
    StrategyWorld::SetObserver([action](const std::string& what) {
        if (what.rfind("register", 0) == 0) {
            action();
        }
    });
}

TEST(GameSdkRegistration, MayReportBeforeTheFirstUseIsOver) {
    StrategyWorld::Create();
    WhileRegistering(kAeroplaneAt90);
    GameDynamicFps::GetInstance();
    EXPECT_EQ(StrategyWorld::Trace(), At("0.000", kAeroplane + kRegister));
}

TEST(GameSdkRegistration, MayReportWhileTheStrategyIsBeingSet) {
    StrategyWorld::Create();
    StrategyWorld::Phone().gameSdk->answer(0);
    GameDynamicFps::GetInstance();
    WhileRegistering(kAeroplaneAt90);
    kSet();
    EXPECT_EQ(StrategyWorld::Trace(), At("0.000", kRegister + kAeroplane + kRegister));
}

TEST(GameSdkRegistration, IsOneForUsersThatCompete) {
    StrategyWorld::Create();
    WhileRegistering([] { VirtualThread("another user", kSet).Join(); });
    kSet();
    EXPECT_EQ(StrategyWorld::Trace(), At("0.000", kRegister));
}

/** A forced rate is handed over between the strategies without one undoing the other's. */
TEST(ForcedRate, IsNotUndoneByAStrategyThatWasReset) {
    StartBoth();
    Play({{0, kSet}, {100, Fps(60)}}, 1000);
    EXPECT_EQ(PolicyState::forcedGameFps, 90);
    kReset();
    EXPECT_EQ(PolicyState::forcedGameFps, kNoGameFps) << "at once";
    kHighSet();
    HighFps(60)();
    VirtualTime::Settle();
    EXPECT_EQ(PolicyState::forcedGameFps, 90);
    SleepFor(5 * kNsPerS);
    VirtualTime::Settle();
    EXPECT_EQ(PolicyState::forcedGameFps, kNoGameFps);
}

TEST(ForcedRate, IsNotUndoneByAStrategyWhoseTrialIsOver) {
    StartBoth();
    Play({{0, kSet}, {100, Fps(60)}, {6000, kHighSet}, {6100, HighFps(60)}}, 7000);
    kReset();
    EXPECT_EQ(PolicyState::forcedGameFps, 90);
}

}  // namespace
}  // namespace KVT

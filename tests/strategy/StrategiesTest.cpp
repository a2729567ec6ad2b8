// SPDX-License-Identifier: Apache-2.0
// What each strategy does, and when, as the trace of its world shows it.
#include <cutils/properties.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "StrategyWorld.h"
#include "common/Codes.h"
#include "detect/AppFpsDetect.h"
#include "detect/FrameRefreshDetect.h"
#include "state/PolicyState.h"
#include "strategy/AppDynamicFps.h"
#include "strategy/GameDynamicFps.h"
#include "strategy/GameHighFps.h"
#include "strategy/LcdFpsMonitor.h"

namespace KVT {
namespace {

const auto kDown = [] { AppDynamicFps::GetInstance()->SetLcdEvent(1); };
const auto kUp = [] { AppDynamicFps::GetInstance()->SetLcdEvent(0); };
const auto kOtherTouch = [] { AppDynamicFps::GetInstance()->SetLcdEvent(2); };
const auto kAppReset = [] { AppDynamicFps::GetInstance()->Reset(); };
const auto kRefresh = [] { FrameRefreshDetect::GetInstance()->UpdateTimestamp(MonotonicNow()); };
const auto kSurfaceView = [] { AppFpsDetect::GetInstance()->UpdateTimestamp(MonotonicNow()); };
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
    return [hz] {
        sim::FakePanel& panel = *StrategyWorld::Phone().panel;
        panel.behave(&sim::FakePanel::Behaviour::rates, sim::FakePanel::KnownRates());
        panel.changeByItself(std::to_string(hz));
    };
}
Action PanelRate(int32_t hz) {
    return [hz] { LcdFpsMonitor::GetInstance()->SetLcdRefreshRate(hz); };
}
Action GameScene(bool on) {
    return [on] { PolicyState::gameScene = on; };
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

/** Several actions in one moment, in which no check thread runs. */
Action AtOnce(std::vector<Action> actions) {
    return [actions = std::move(actions)] {
        for (const Action& action : actions) {
            action();
        }
    };
}

/** For the expected trace: these lines, each with that time. */
std::string At(const std::string& seconds, const std::string& lines) {
    std::string text;
    for (size_t begin = 0; begin < lines.size(); begin = lines.find('\n', begin) + 1) {
        text += seconds + ' ' + lines.substr(begin, lines.find('\n', begin) + 1 - begin);
    }
    return text;
}

std::string Up(const char* at) {
    return At(at, "panel 90\nKVTService I AppDynamicFps: set lcd to 90Hz - touch down\n");
}
std::string Down(const char* at, const std::string& after = "0.2s") {
    return At(at, "panel 60\nKVTService I AppDynamicFps: set lcd to 60Hz - touch up after " +
                      after + '\n');
}
std::string Told(const char* at, int hz, const std::string& reason) {
    const std::string rate = std::to_string(hz);
    return At(at, "told " + rate + "\nKVTService I LcdFpsMonitor: send lcd fps " + rate +
                      " to sched " + reason + '\n');
}
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

/** What happens to a strategy, and the trace of it. */
struct StrategyCase {
    const char* name;
    std::vector<TimedAction> actions;
    std::string trace;
};

void PrintTo(const StrategyCase& each, std::ostream* out) {
    *out << each.name;
}

std::vector<TimedAction> Scroll(std::vector<TimedAction> actions, int64_t fromMs, int64_t toMs) {
    for (int64_t atMs = fromMs; atMs < toMs; atMs += 50) {
        actions.push_back({atMs, kRefresh});
    }
    return actions;
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

void StartStrategies() {
    StrategyWorld::Create();
    AppDynamicFps::GetInstance()->StartCheckFpsThread();
    GameDynamicFps::GetInstance()->StartCheckFpsThread();
    GameHighFps::GetInstance()->StartCheckFpsThread();
    VirtualTime::Settle();
}

class Strategies : public testing::TestWithParam<StrategyCase> {};

TEST_P(Strategies, DoWhatIsDueWhenItIs) {
    StartStrategies();
    Play(GetParam().actions, 20'000);
    EXPECT_EQ(StrategyWorld::Trace(), At("0.000", kRegister) + GetParam().trace);
    EXPECT_EQ(PolicyState::forcedGameFps, kNoGameFps);
}

const StrategyCase kCases[] = {
    // The touch strategy.
    {"EachLiftStartsANewAllowance",
     Scroll({{0, kDown}, {100, kUp}, {4000, kDown}, {4500, kUp}}, 4550, 12'000),
     // The first period ends at once: nothing was drawn.
     Up("0.000") + Down("0.300") + Up("4.000") + Down("9.700", "5.2s")},
    {"OneRefreshAfterTheLift",
     {{0, kDown}, {100, kUp}, {150, kRefresh}},
     Up("0.000") + Down("0.500", "0.4s")},
    {"ARefreshOf200MsAgoIsTooOld",
     {{0, kDown}, {100, kRefresh}, {100, kUp}},
     Up("0.000") + Down("0.300")},
    {"TouchDuringThePeriodCancelsTheDrop",
     {{0, kDown}, {100, kUp}, {250, kDown}, {1000, kUp}},
     Up("0.000") + Down("1.200")},
    {"LongTouch", {{0, kDown}, {9000, kUp}}, Up("0.000") + Down("9.200")},
    {"ResetLeavesThePanel", {{0, kDown}, {100, kUp}, {200, kAppReset}}, Up("0.000")},
    {"StrayEvents", {{0, kUp}, {10, kOtherTouch}, {20, kAppReset}, {30, kUp}}, ""},
    {"FullScreenSurfaceViewBlocksTouchForASecond",
     {{0, kSurfaceView}, {999, kDown}, {999, kUp}, {1000, kDown}, {1100, kUp}},
     Up("1.000") + Down("1.300")},

    // The ladder.
    {"UpAbove60AndDownBelow46",
     {{0, kSet},
      {100, Fps(45)},
      {200, Fps(46)},
      {300, Fps(59)},
      {400, Fps(61)},
      {500, Fps(60)},
      {600, Fps(59)},
      {700, Fps(46)},
      {800, Fps(61)},
      {900, Fps(45)}},
     At("0.100", Signal(45)) + At("0.200", Signal(46)) + At("0.300", Signal(59)) +
         At("0.400", Signal(61) + kTo90) + At("0.500", Signal(60)) + At("0.600", Signal(59)) +
         At("0.700", Signal(46)) + At("0.800", Signal(61)) + At("0.900", Signal(45) + kTo60)},
    {"AnyOtherPanelRate",
     {{0, Panel(120)}, {0, kSet}, {100, Fps(61)}, {200, Fps(45)}, {300, Fps(60)}},
     At("0.100", Signal(61)) + At("0.200", Signal(45)) + At("0.300", Signal(60))},
    {"UnchangedRateIsSilent",
     {{0, kSet}, {50, Fps(0)}, {100, Fps(75)}, {200, Panel(60)}, {300, Fps(75)}},
     At("0.100", Signal(75) + kTo90)},
    {"ARateFromBeforeArmingIsForgotten",
     {{0, Panel(90)}, {100, Fps(30)}, {200, kSet}},
     At("0.100", Signal(30))},
    {"ArmingAnewAtHighLeavesThePanel", {{0, Panel(90)}, {100, AtOnce({kReset, kSet})}}, ""},

    // The trial.
    InTrial("TrialWithoutClimb", {{3000, Fps(60)}}, At("5.100", kBack)),
    InTrial("TrialWithClimb", {{3000, Fps(61)}}, At("3.000", Signal(61))),
    InTrial("TrialWithFall", {{3000, Fps(59)}}, At("3.000", Signal(59) + kBack)),
    InTrial("TrialEndedByReset", {{3000, kReset}}, ""),
    InTrial("NextGameIsNotKnownWhenATrialEnds", {{3000, AtOnce({Fps(59), kReset, kSet})}},
            At("3.000", Signal(59))),
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
    {"ReportsAddUpUntilAnotherGameIsArmed",
     {{0, kSet},
      {100, Pubg(R"("1":101)")},
      {200, Pubg(R"("1":101,"10":60)")},
      {300, Pubg(R"("1":101,"10":"90")")},
      {400, kAeroplaneAt90},
      {500, Pubg(R"("1":"5")")},
      {600, kAeroplaneAt90},
      {700, Pubg(R"("1":5)")},
      {800, Pubg(R"("1":101)")},
      {900, kSet},
      {1000, Pubg(R"("1":101)")},
      {1100, kAeroplaneAt90}},
     At("0.100", NoAeroplane(30)) + At("0.200", NoAeroplane(60)) + At("0.300", NoAeroplane(60)) +
         At("0.400", kAeroplane) + At("0.800", kAeroplane) + At("1.000", NoAeroplane(30)) +
         At("1.100", kAeroplane)},
    {"NobodyElseIsListenedTo",
     {{0, kSet}, {100, Report(R"({"pkg":"com.example","1":101,"10":90})")}, {200, Report("{")}},
     ""},

    // The constant-high strategy never touches the panel.
    InBoost("BoostForFiveSeconds", {{3000, HighFps(60)}}, At("5.100", kBoostEnd)),
    InBoost("BoostEndsWithTheRate", {{3000, HighFps(59)}}, At("3.000", HighSignal(59) + kBoostEnd)),
    InBoost("BoostEndsWithReset", {{3000, kHighReset}}, At("3.000", kBoostEnd)),
    {"NoBoostAtOtherRates",
     {{0, kHighSet}, {100, HighFps(59)}, {200, HighFps(61)}},
     At("0.100", HighSignal(59)) + At("0.200", HighSignal(61))},
};

INSTANTIATE_TEST_SUITE_P(Table, Strategies, testing::ValuesIn(kCases),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(TouchStrategy, IgnoresTouchWhenSwitchedOff) {
    property_set("persist.lcd.switch", "false");
    StartStrategies();
    Play({{0, kDown}, {100, kUp}}, 1000);
    EXPECT_EQ(StrategyWorld::Trace(), At("0.000", kRegister));
}

TEST(ActivityTimestamps, SurviveAnyValue) {
    StrategyWorld::Create();
    const int64_t now = MonotonicNow();
    const auto isActiveAfter = [](int64_t timestamp) {
        FrameRefreshDetect::GetInstance()->UpdateTimestamp(timestamp);
        return FrameRefreshDetect::GetInstance()->IsFrameRefreshActive();
    };
    for (const int64_t active : {INT64_MIN, INT64_MAX, now + 1, now, now - 200 * kNsPerMs + 1}) {
        EXPECT_TRUE(isActiveAfter(active)) << active;
    }
    for (const int64_t inactive : {int64_t{0}, int64_t{-1}, now - 200 * kNsPerMs}) {
        EXPECT_FALSE(isActiveAfter(inactive)) << inactive;
    }
}

/** Done by the game SDK each time it is asked to register, before it answers. */
void WhileRegistering(const Action& action) {
    StrategyWorld::SetObserver([action](const std::string& what) {
        if (what.rfind("register", 0) == 0) {
            action();
        }
    });
}

TEST(GameSdkRegistration, IsRetriedUntilItSucceedsAndMayReportMeanwhile) {
    StrategyWorld::Create();
    StrategyWorld::Phone().gameSdk->answer(0);
    WhileRegistering(kAeroplaneAt90);
    kSet();  // the first use registers as well
    StrategyWorld::Phone().gameSdk->answer(1);
    kSet();
    kSet();
    const std::string once = kAeroplane + kRegister;
    EXPECT_EQ(StrategyWorld::Trace(), At("0.000", once + once + once));
}

TEST(GameSdkRegistration, IsOneForUsersThatCompete) {
    StrategyWorld::Create();
    WhileRegistering([] { VirtualThread("another user", kSet).Join(); });
    kSet();
    EXPECT_EQ(StrategyWorld::Trace(), At("0.000", kRegister));
}

TEST(ForcedRate, IsNotUndoneByAStrategyThatWasReset) {
    StartStrategies();
    Play({{0, kSet}, {100, Fps(60)}}, 1000);
    EXPECT_EQ(PolicyState::forcedGameFps, 90);
    kReset();
    EXPECT_EQ(PolicyState::forcedGameFps, kNoGameFps) << "at once";
    kHighSet();
    HighFps(60)();
    VirtualTime::Settle();
    kReset();
    EXPECT_EQ(PolicyState::forcedGameFps, 90) << "the other strategy's by now";
    SleepFor(5 * kNsPerS);
    VirtualTime::Settle();
    EXPECT_EQ(PolicyState::forcedGameFps, kNoGameFps);
}

TEST(PanelRateReporter, TellsChangesAtOnceAndTheRateEveryTenSeconds) {
    StrategyWorld::Create();
    EXPECT_EQ(LcdFpsMonitor::GetInstance()->StartCheckFpsThread(), 0);
    VirtualTime::Settle();
    Play({{12'000, PanelRate(90)},
          {13'000, PanelRate(90)},
          {25'000, PanelRate(60)},
          {26'000, GameScene(true)},
          {30'000, PanelRate(90)},
          {47'000, GameScene(false)}},
         49'000);
    SleepFor(11 * kNsPerS);
    PanelRate(60)();  // comes with the deadline
    VirtualTime::Settle();
    EXPECT_EQ(StrategyWorld::Trace(), Told("10.000", 0, "v1") + Told("12.000", 90, "v0") +
                                          Told("22.000", 90, "v1") + Told("25.000", 60, "v0") +
                                          Told("50.000", 90, "v1") + Told("60.000", 60, "v0"));
}

}  // namespace
}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "strategy/AppDynamicFps.h"

#include <cutils/properties.h>
#include <gtest/gtest.h>

#include "StrategyWorld.h"
#include "detect/AppFpsDetect.h"
#include "detect/FrameRefreshDetect.h"

namespace KVT {
namespace {

const auto kDown = [] { AppDynamicFps::GetInstance()->SetLcdEvent(1); };
const auto kUp = [] { AppDynamicFps::GetInstance()->SetLcdEvent(0); };
const auto kOther = [] { AppDynamicFps::GetInstance()->SetLcdEvent(2); };
const auto kReset = [] { AppDynamicFps::GetInstance()->Reset(); };
const auto kRefresh = [] { FrameRefreshDetect::GetInstance()->UpdateTimestamp(MonotonicNow()); };
const auto kSurfaceView = [] { AppFpsDetect::GetInstance()->UpdateTimestamp(MonotonicNow()); };

/** Two touch events with the check thread not running in between. */
const auto kDownAndUp = [] {
    kDown();
    kUp();
};
const auto kUpAndDown = [] {
    kUp();
    kDown();
};
const auto kUpAndReset = [] {
    kUp();
    kReset();
};
const auto kResetAndTap = [] {
    kReset();
    kDown();
    kUp();
};

std::vector<TimedAction> Scroll(std::vector<TimedAction> actions, int64_t fromMs, int64_t toMs) {
    for (int64_t atMs = fromMs; atMs < toMs; atMs += 50) {
        actions.push_back({atMs, kRefresh});
    }
    return actions;
}

constexpr char kRaised[] = "KVTService I AppDynamicFps: set lcd to 90Hz - touch down\n";
constexpr char kDropped[] = "KVTService I AppDynamicFps: set lcd to 60Hz - touch up after ";

std::string Up(const char* at) {
    return std::string(at) + " panel 90\n" + at + ' ' + kRaised;
}
std::string Down(const char* at, const char* elapsed) {
    return std::string(at) + " panel 60\n" + at + ' ' + kDropped + elapsed + "s\n";
}

struct Case {
    const char* name;
    std::vector<TimedAction> actions;
    std::string trace;
};

void PrintTo(const Case& each, std::ostream* out) {
    *out << each.name;
}

/** The touch strategy's lines of the trace: the panel-rate reporter is not started. */
class TouchStrategy : public testing::TestWithParam<Case> {};

TEST_P(TouchStrategy, FollowsTheFinger) {
    StrategyWorld::Create();
    AppDynamicFps::GetInstance()->StartCheckFpsThread();
    VirtualTime::Settle();
    Play(GetParam().actions, 20'000);
    EXPECT_EQ(StrategyWorld::Trace(), GetParam().trace);
}

const Case kCases[] = {
    {"TapOnAStillScreen", {{0, kDown}, {100, kUp}}, Up("0.000") + Down("0.300", "0.2")},
    {"LongTouch", {{0, kDown}, {9000, kUp}}, Up("0.000") + Down("9.200", "0.2")},
    {"OneRefreshAfterTheLift",
     {{0, kDown}, {100, kUp}, {150, kRefresh}},
     Up("0.000") + Down("0.500", "0.4")},
    {"ARefreshOf200MsAgoIsTooOld",
     {{0, kDown}, {100, kRefresh}, {100, kUp}},
     Up("0.000") + Down("0.300", "0.2")},
    {"ScrollingKeepsFiveSeconds", Scroll({{0, kDown}, {100, kUp}}, 150, 8000),
     Up("0.000") + Down("5.300", "5.2")},
    {"TouchDuringThePeriodCancelsTheDrop",
     {{0, kDown}, {100, kUp}, {250, kDown}, {1000, kUp}},
     Up("0.000") + Down("1.200", "0.2")},
    {"TouchAtTheVeryPollCancelsTheDrop",
     {{0, kDown}, {100, kUp}, {299, kDown}, {3000, kUp}},
     Up("0.000") + Down("3.200", "0.2")},
    {"EachLiftStartsANewAllowance",
     Scroll({{0, kDown}, {100, kUp}, {4000, kDown}, {4500, kUp}}, 4550, 12'000),
     // The first period ends at once: nothing was drawn.
     Up("0.000") + Down("0.300", "0.2") + Up("4.000") + Down("9.700", "5.2")},
    {"ResetLeavesThePanel", {{0, kDown}, {100, kUp}, {200, kReset}}, Up("0.000")},
    {"ResetUnderTheFinger", {{0, kDown}, {100, kReset}, {200, kUp}}, Up("0.000")},
    {"TouchAfterReset",
     {{0, kDown}, {100, kUp}, {200, kReset}, {300, kDown}, {400, kUp}},
     Up("0.000") + Up("0.300") + Down("0.600", "0.2")},
    {"StrayEvents", {{0, kUp}, {10, kOther}, {20, kReset}, {30, kUp}}, ""},
    {"TapInOneMoment", {{0, kDownAndUp}}, Up("0.000") + Down("0.200", "0.2")},
    {"TapInOneMomentDuringThePeriod",
     {{0, kDown}, {100, kUp}, {200, kDownAndUp}},
     Up("0.000") + Down("0.400", "0.2")},
    {"ALaterTouchVoidsTheLift",
     {{0, kDown}, {100, kUpAndDown}, {5000, kUp}},
     Up("0.000") + Down("5.200", "0.2")},
    {"SecondFingerDoesNotOutliveTheLift",
     {{0, kDown}, {50, kDown}, {100, kUp}},
     Up("0.000") + Down("0.300", "0.2")},
    {"ResetVoidsTheLift",
     {{0, kDown}, {100, kUpAndReset}, {200, kDown}, {5000, kUp}},
     Up("0.000") + Up("0.200") + Down("5.200", "0.2")},
    {"ResetAndTapInOneMoment",
     {{0, kDown}, {100, kResetAndTap}},
     Up("0.000") + Up("0.100") + Down("0.300", "0.2")},
    {"FullScreenSurfaceViewBlocksTouch",
     {{0, kSurfaceView}, {999, kDown}, {1100, kUp}, {1200, kDown}, {1300, kUp}},
     Up("1.200") + Down("1.500", "0.2")},
    {"SurfaceViewOfASecondAgoDoesNot",
     {{0, kSurfaceView}, {1000, kDown}, {1100, kUp}},
     Up("1.000") + Down("1.300", "0.2")},
};

INSTANTIATE_TEST_SUITE_P(Table, TouchStrategy, testing::ValuesIn(kCases),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(TouchStrategySwitch, OffIgnoresTouch) {
    property_set("persist.lcd.switch", "false");
    StrategyWorld::Create();
    AppDynamicFps::GetInstance()->StartCheckFpsThread();
    Play({{0, kDown}, {100, kUp}}, 1000);
    EXPECT_EQ(StrategyWorld::Trace(), "");
}

TEST(TouchStrategyThread, StartsInTheMiddleOfATouch) {
    StrategyWorld::Create();
    kDown();
    EXPECT_EQ(AppDynamicFps::GetInstance()->StartCheckFpsThread(), 0);
    Play({{3000, kUp}}, 4000);
    EXPECT_EQ(StrategyWorld::Trace(), Up("0.000") + Down("3.200", "0.2"));
}

TEST(ActivityTimestamps, SurviveAnyValue) {
    StrategyWorld::Create();
    const int64_t now = MonotonicNow();
    const std::pair<int64_t, bool> cases[] = {
        {0, false},        {INT64_MIN, true},
        {INT64_MAX, true}, {now + 1, true},
        {now, true},       {now - 200 * kNsPerMs + 1, true},
        {-1, false},       {now - 200 * kNsPerMs, false},
    };
    for (const auto& [timestamp, active] : cases) {
        FrameRefreshDetect::GetInstance()->UpdateTimestamp(timestamp);
        EXPECT_EQ(FrameRefreshDetect::GetInstance()->IsFrameRefreshActive(), active) << timestamp;
    }
    AppFpsDetect::GetInstance()->UpdateTimestamp(now - kNsPerS + 1);
    EXPECT_TRUE(AppFpsDetect::GetInstance()->IsFullSurfaceViewActive());
    AppFpsDetect::GetInstance()->UpdateTimestamp(now - kNsPerS);
    EXPECT_FALSE(AppFpsDetect::GetInstance()->IsFullSurfaceViewActive());
}

}  // namespace
}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "strategy/AppDynamicFps.h"

#include <cutils/properties.h>

#include "StrategyCase.h"
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

std::vector<TimedAction> Scroll(std::vector<TimedAction> actions, int64_t fromMs, int64_t toMs) {
    for (int64_t atMs = fromMs; atMs < toMs; atMs += 50) {
        actions.push_back({atMs, kRefresh});
    }
    return actions;
}

std::string Up(const char* at) {
    return At(at, "panel 90\nKVTService I AppDynamicFps: set lcd to 90Hz - touch down\n");
}
std::string Down(const char* at, const std::string& after = "0.2s") {
    return At(at, "panel 60\nKVTService I AppDynamicFps: set lcd to 60Hz - touch up after " +
                      after + '\n');
}

/** The touch strategy's lines of the trace: the panel-rate reporter is not started. */
class TouchStrategy : public testing::TestWithParam<StrategyCase> {};

TEST_P(TouchStrategy, FollowsTheFinger) {
    StrategyWorld::Create();
    AppDynamicFps::GetInstance()->StartCheckFpsThread();
    VirtualTime::Settle();
    Play(GetParam().actions, 20'000);
    EXPECT_EQ(StrategyWorld::Trace(), GetParam().trace);
}

const StrategyCase kCases[] = {
    {"TapOnAStillScreen", {{0, kDown}, {100, kUp}}, Up("0.000") + Down("0.300")},
    {"OneRefreshAfterTheLift",
     {{0, kDown}, {100, kUp}, {150, kRefresh}},
     Up("0.000") + Down("0.500", "0.4s")},
    {"ARefreshOf200MsAgoIsTooOld",
     {{0, kDown}, {100, kRefresh}, {100, kUp}},
     Up("0.000") + Down("0.300")},
    {"ScrollingKeepsFiveSeconds", Scroll({{0, kDown}, {100, kUp}}, 150, 8000),
     Up("0.000") + Down("5.300", "5.2s")},
    {"TouchDuringThePeriodCancelsTheDrop",
     {{0, kDown}, {100, kUp}, {250, kDown}, {1000, kUp}},
     Up("0.000") + Down("1.200")},
    {"TouchAtTheVeryPollCancelsTheDrop",
     {{0, kDown}, {100, kUp}, {299, kDown}, {3000, kUp}},
     Up("0.000") + Down("3.200")},
    {"EachLiftStartsANewAllowance",
     Scroll({{0, kDown}, {100, kUp}, {4000, kDown}, {4500, kUp}}, 4550, 12'000),
     // The first period ends at once: nothing was drawn.
     Up("0.000") + Down("0.300") + Up("4.000") + Down("9.700", "5.2s")},
    {"ResetLeavesThePanel", {{0, kDown}, {100, kUp}, {200, kReset}}, Up("0.000")},
    {"StrayEvents", {{0, kUp}, {10, kOther}, {20, kReset}, {30, kUp}}, ""},
    {"TapInOneMoment", {{0, AtOnce({kDown, kUp})}}, Up("0.000") + Down("0.200")},
    {"ALaterTouchVoidsTheLift",
     {{0, kDown}, {100, AtOnce({kUp, kDown})}, {5000, kUp}},
     Up("0.000") + Down("5.200")},
    {"ResetAndTapInOneMoment",
     {{0, kDown}, {100, AtOnce({kReset, kDown, kUp})}},
     Up("0.000") + Up("0.100") + Down("0.300")},
    {"FullScreenSurfaceViewBlocksTouch",
     {{0, kSurfaceView}, {999, kDown}, {1100, kUp}, {1200, kDown}, {1300, kUp}},
     Up("1.200") + Down("1.500")},
    {"SurfaceViewOfASecondAgoDoesNot",
     {{0, kSurfaceView}, {1000, kDown}, {1100, kUp}},
     Up("1.000") + Down("1.300")},
};

INSTANTIATE_TEST_SUITE_P(Table, TouchStrategy, testing::ValuesIn(kCases), NameOfCase);

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
    EXPECT_EQ(StrategyWorld::Trace(), Up("0.000") + Down("3.200"));
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

}  // namespace
}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "strategy/LcdFpsMonitor.h"

#include <gtest/gtest.h>

#include "StrategyWorld.h"
#include "policy/FpsCommon.h"

namespace KVT {
namespace {

std::function<void()> Rate(int32_t hz) {
    return [hz] { LcdFpsMonitor::GetInstance()->SetLcdRefreshRate(hz); };
}
std::function<void()> GameScene(bool on) {
    return [on] { FpsCommon::gameScene = on; };
}
std::string Report(const char* at, int hz, const char* reason) {
    const std::string rate = std::to_string(hz);
    return std::string(at) + " told " + rate + '\n' + at +
           " KVTService I LcdFpsMonitor: send lcd fps " + rate + " to sched " + reason + '\n';
}

void PlayAndExpect(const std::vector<TimedAction>& actions, int64_t untilMs,
                   const std::string& trace) {
    StrategyWorld::Create();
    EXPECT_EQ(LcdFpsMonitor::GetInstance()->StartCheckFpsThread(), 0);
    VirtualTime::Settle();
    Play(actions, untilMs);
    EXPECT_EQ(StrategyWorld::Trace(), trace);
}

TEST(LcdFpsMonitor, ReportsChangesAtOnceAndTheRateEveryTenSeconds) {
    PlayAndExpect({{2000, Rate(90)}, {3000, Rate(90)}, {15'000, Rate(60)}}, 36'000,
                  Report("2.000", 90, "v0") + Report("12.000", 90, "v1") +
                      Report("15.000", 60, "v0") + Report("25.000", 60, "v1") +
                      Report("35.000", 60, "v1"));
}

TEST(LcdFpsMonitor, ReportsZeroBeforeTheFirstRate) {
    PlayAndExpect({}, 10'000, Report("10.000", 0, "v1"));
}

TEST(LcdFpsMonitor, IsSilentInAGame) {
    PlayAndExpect({{1000, GameScene(true)}, {2000, Rate(90)}, {13'000, GameScene(false)}}, 23'000,
                  Report("22.000", 90, "v1"));
}

TEST(LcdFpsMonitor, ReportsAChangeThatComesWithTheDeadlineAsAChange) {
    StrategyWorld::Create();
    LcdFpsMonitor::GetInstance()->StartCheckFpsThread();
    SleepFor(10 * kNsPerS);
    Rate(90)();
    VirtualTime::Settle();
    EXPECT_EQ(StrategyWorld::Trace(), Report("10.000", 90, "v0"));
}

}  // namespace
}  // namespace KVT

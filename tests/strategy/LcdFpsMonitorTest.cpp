// SPDX-License-Identifier: Apache-2.0
#include "strategy/LcdFpsMonitor.h"

#include "StrategyCase.h"
#include "state/PolicyState.h"

namespace KVT {
namespace {

Action Rate(int32_t hz) {
    return [hz] { LcdFpsMonitor::GetInstance()->SetLcdRefreshRate(hz); };
}
Action GameScene(bool on) {
    return [on] { PolicyState::gameScene = on; };
}
std::string Told(const char* at, int hz, const std::string& reason) {
    const std::string rate = std::to_string(hz);
    return At(at, "told " + rate + "\nKVTService I LcdFpsMonitor: send lcd fps " + rate +
                      " to sched " + reason + '\n');
}

class PanelRateReporter : public testing::TestWithParam<StrategyCase> {};

TEST_P(PanelRateReporter, TellsThePerformanceService) {
    StrategyWorld::Create();
    EXPECT_EQ(LcdFpsMonitor::GetInstance()->StartCheckFpsThread(), 0);
    VirtualTime::Settle();
    Play(GetParam().actions, 36'000);
    EXPECT_EQ(StrategyWorld::Trace(), GetParam().trace);
}

const StrategyCase kCases[] = {
    {"ChangesAtOnceAndTheRateEveryTenSeconds",
     {{2000, Rate(90)}, {3000, Rate(90)}, {15'000, Rate(60)}},
     Told("2.000", 90, "v0") + Told("12.000", 90, "v1") + Told("15.000", 60, "v0") +
         Told("25.000", 60, "v1") + Told("35.000", 60, "v1")},
    {"ZeroBeforeTheFirstRate",
     {{25'000, GameScene(true)}},
     Told("10.000", 0, "v1") + Told("20.000", 0, "v1")},
    {"NothingInAGame",
     {{1000, GameScene(true)}, {2000, Rate(90)}, {13'000, GameScene(false)}},
     Told("22.000", 90, "v1") + Told("32.000", 90, "v1")},
};

INSTANTIATE_TEST_SUITE_P(Table, PanelRateReporter, testing::ValuesIn(kCases), NameOfCase);

TEST(LcdFpsMonitor, ReportsAChangeThatComesWithTheDeadlineAsAChange) {
    StrategyWorld::Create();
    LcdFpsMonitor::GetInstance()->StartCheckFpsThread();
    SleepFor(10 * kNsPerS);
    Rate(90)();
    VirtualTime::Settle();
    EXPECT_EQ(StrategyWorld::Trace(), Told("10.000", 90, "v0"));
}

}  // namespace
}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
// Schedules of the strategies alone. Odd seeds play a game, even ones an application.
#include "ScheduleScenarios.h"

#include "StrategyWorld.h"
#include "common/Codes.h"
#include "detect/AppFpsDetect.h"
#include "detect/FrameRefreshDetect.h"
#include "display/LcdFpsControl.h"
#include "state/PolicyState.h"
#include "strategy/AppDynamicFps.h"
#include "strategy/GameDynamicFps.h"
#include "strategy/GameHighFps.h"

namespace KVT {
namespace {

int32_t PanelHz() {
    return StrategyWorld::Phone().panel->currentHz();
}

/** A change of the panel takes so many forced frames, 16 ms each, from now on. */
void LetPanelObeyAfter(int32_t frames) {
    StrategyWorld::Phone().panel->behave(&sim::FakePanel::Behaviour::obeysAfter, frames);
}

// Pauses that meet the strategies' own deadlines, and miss them by as little as can be.

constexpr int64_t kPollNs = 200 * kNsPerMs;
constexpr int64_t kTrialNs = 5 * kNsPerS;

void PauseLikeAFinger(Dice& dice) {
    SleepFor(dice.oneOf<int64_t>(
        {0, 0, 1, kNsPerMs, 100 * kNsPerMs, kPollNs - 1, kPollNs, kPollNs + 1, 2 * kPollNs}));
}

void PauseLikeAGame(Dice& dice) {
    SleepFor(dice.oneOf<int64_t>(
        {0, 0, 1, 100 * kNsPerMs, 2 * kNsPerS, kTrialNs - 1, kTrialNs, kTrialNs + 1}));
}

// ---- An application under the finger ----

/** Down means: at least since the last touch-down was handled, until the next lift is sent. */
std::atomic<bool> gFingerDown{false};

void Touch() {
    AppDynamicFps::GetInstance()->SetLcdEvent(1);
    gFingerDown = true;
}

void Lift() {
    gFingerDown = false;
    AppDynamicFps::GetInstance()->SetLcdEvent(0);
}

/** Gestures, each of which ends with the finger off the screen. */
void MoveFinger(Dice dice) {
    for (uint64_t count = 1 + dice.below(4); count > 0; --count) {
        const char* gesture =
            dice.oneOf<const char*>({"du", "du", "du", "ddu", "duu", "u", "dudu"});
        for (; *gesture != 0; ++gesture) {
            *gesture == 'd' ? Touch() : Lift();
            PauseLikeAFinger(dice);
        }
    }
}

void ResetAppStrategy(Dice dice) {
    for (uint64_t count = dice.below(3); count > 0; --count) {
        PauseLikeAFinger(dice);
        AppDynamicFps::GetInstance()->Reset();
        LcdFpsControl::SetLcdFps(kLowHz);
    }
}

void RefreshScreen(Dice dice) {
    for (uint64_t count = dice.below(6); count > 0; --count) {
        FrameRefreshDetect::GetInstance()->UpdateTimestamp(MonotonicNow());
        PauseLikeAFinger(dice);
    }
}

void TouchAndWait() {
    Touch();
    VirtualTime::Settle();
    Require(PanelHz() == kHighHz, "a touch was not answered");
    Rest(kNsPerS);
    Require(PanelHz() == kHighHz, "a finger on the screen was dropped to 60");
}

void PlayApplication(uint64_t seed) {
    {
        Actors actors(seed);
        actors.start("finger", MoveFinger);
        actors.start("policy", ResetAppStrategy);
        actors.start("screen", RefreshScreen);
        if (seed % 8 == 0) {
            actors.start("player", [](Dice) {
                AppFpsDetect::GetInstance()->UpdateTimestamp(MonotonicNow());
            });
        }
    }
    Rest(10 * kNsPerS);
    Require(PanelHz() == kLowHz, "a tap left the panel at 90");

    TouchAndWait();
    Lift();
    SleepFor(kPollNs);  // the next touch comes in the very moment of the drop
    TouchAndWait();
    Lift();
    Rest(kNsPerS);
    Require(PanelHz() == kLowHz, "the last tap left the panel at 90");
}

// ---- A game and the policy ----

enum class Armed { kNone, kDynamic, kHigh };
std::atomic<Armed> gArmed{Armed::kNone};

/** What the policy does when a game comes to the front: reset all, set the panel, arm one. */
void Arm(Armed strategy) {
    PolicyState::forcedGameFps = kNoGameFps;
    gArmed = Armed::kNone;
    GameDynamicFps::GetInstance()->Reset();
    GameHighFps::GetInstance()->Reset();
    LcdFpsControl::SetLcdFps(strategy == Armed::kHigh ? kHighHz : kLowHz);
    gArmed = strategy;
    if (strategy == Armed::kDynamic) {
        GameDynamicFps::GetInstance()->Set();
    } else if (strategy == Armed::kHigh) {
        GameHighFps::GetInstance()->Set();
    }
}

void SwitchGames(Dice dice) {
    for (uint64_t count = 1 + dice.below(4); count > 0; --count) {
        Arm(dice.oneOf(
            {Armed::kNone, Armed::kDynamic, Armed::kDynamic, Armed::kHigh, Armed::kHigh}));
        PauseLikeAGame(dice);
    }
}

void Detect(int32_t fps) {
    if (gArmed == Armed::kDynamic) {
        GameDynamicFps::GetInstance()->SetGameFps(fps);
    } else if (gArmed == Armed::kHigh) {
        GameHighFps::GetInstance()->SetGameFps(fps);
    }
}

void RunGame(Dice dice) {
    for (uint64_t count = dice.below(8); count > 0; --count) {
        Detect(dice.oneOf({30, 45, 46, 59, 60, 60, 60, 61, 90}));
        PauseLikeAGame(dice);
    }
}

void Report(Dice dice) {
    static constexpr const char* kReports[] = {
        R"({"pkg":"com.tencent.tmgp.pubgmhd","1":101,"10":90})",
        R"({"pkg":"com.tencent.tmgp.pubgmhd","1":5})",
        R"({"pkg":"com.tencent.tmgp.pubgmhd","1":[101],"10":{}})", "{"};
    for (uint64_t count = dice.below(4); count > 0; --count) {
        GameDynamicFps::GetInstance()->UpdateGameSdkInfo(android::String8(dice.oneOf(kReports)));
        PauseLikeAGame(dice);
    }
}

/** How often a game strategy did something that is seen in its log. */
struct Answers {
    int trials = StrategyWorld::Count("KVTService I GameDynamicFps: set lcd to 90Hz 5s");
    int boosts = StrategyWorld::Count("KVTService I GameHighFps: send 90fps to sched 5s: start");
    int boostEnds = StrategyWorld::Count("KVTService I GameHighFps: send 90fps to sched: end");
};

/** A rate that comes late, when the policy has disarmed both. */
void RequireNoAnswer() {
    const int32_t panelBefore = PanelHz();
    const Answers before;
    for (const int32_t fps : {90, 60, 30}) {
        GameDynamicFps::GetInstance()->SetGameFps(fps);
        GameHighFps::GetInstance()->SetGameFps(fps);
        Rest(kNsPerS);
        const Answers now;
        Require(
            PanelHz() == panelBefore && now.trials == before.trials && now.boosts == before.boosts,
            "a strategy that was reset went on");
    }
}

void RequireAnswer(int32_t fps, const Answers& before) {
    const int32_t panel = PanelHz();
    const Answers now;
    if (gArmed == Armed::kDynamic) {
        Require(fps <= 60 || panel == kHighHz, "a game above 60 was left at 60");
        Require(fps >= 46 || panel == kLowHz, "a game below 46 was left at 90");
        Require(fps != 60 || panel == kHighHz || now.trials > before.trials,
                "a game that came to 60 got no trial");
    } else {
        Require(panel == (gArmed == Armed::kHigh ? kHighHz : kLowHz),
                "a strategy that was reset set the panel");
        Require(gArmed != Armed::kHigh || fps != 60 || now.boosts > before.boosts,
                "a game that came to 60 got no boost");
    }
    Require(PolicyState::forcedGameFps == kNoGameFps, "a forced frame rate was left behind");
    Require(now.boosts == now.boostEnds, "a boost did not end");
}

void PlayGame(uint64_t seed) {
    {
        Actors actors(seed);
        actors.start("policy", SwitchGames);
        actors.start("detector", RunGame);
        actors.start("sdk", Report);
    }
    // The last rates in quick succession, the very last of which is a change in any case.
    Dice dice(seed, 0);
    static constexpr int32_t kLastRates[] = {60, 60, 60, 60, 45, 46, 61, 90};
    const int32_t last = dice.oneOf(kLastRates);
    Detect(59);
    Detect(dice.oneOf(kLastRates));
    SleepFor(dice.oneOf<int64_t>({0, 1, 100 * kNsPerMs, kTrialNs}));
    Detect(last + 1);
    SleepFor(dice.oneOf<int64_t>({0, 0, 0, 1}));
    const Answers before;
    Detect(last);
    Rest(12 * kNsPerS);
    RequireAnswer(last, before);
    Arm(Armed::kNone);
    RequireNoAnswer();
}

/** The performance service hears of a change at once, whatever the reporter was doing. */
void RequireReport() {
    SleepFor(1);
    LetPanelObeyAfter(0);
    LcdFpsControl::SetLcdFps(PanelHz() == kLowHz ? kHighHz : kLowHz);
    VirtualTime::Settle();
    const std::vector<int32_t> told = StrategyWorld::Phone().perf->takeRates();
    Require(!told.empty() && told.back() == PanelHz(), "a change of the panel was not reported");
}

}  // namespace

const char* RunSchedule(uint64_t seed) {
    StrategyWorld::Create(seed);
    if (seed % 3 == 0) {
        LetPanelObeyAfter(1);
    }
    StrategyWorld::SetObserver([](const std::string& what) {
        if (what.find("AppDynamicFps: set lcd to 60Hz") != std::string::npos) {
            Require(!gFingerDown, "a finger on the screen was dropped to 60");
        }
    });
    StrategyWorld::StartCheckThreads();
    seed % 2 == 0 ? PlayApplication(seed) : PlayGame(seed);
    RequireReport();
    return gBroken;
}

std::string ScheduleTrace() {
    return StrategyWorld::Trace();
}

}  // namespace KVT

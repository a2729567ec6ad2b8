// SPDX-License-Identifier: Apache-2.0
#include "ScheduleScenarios.h"

#include <atomic>
#include <memory>
#include <random>

#include "StrategyWorld.h"
#include "common/Codes.h"
#include "detect/AppFpsDetect.h"
#include "detect/FrameRefreshDetect.h"
#include "display/LcdFpsControl.h"
#include "policy/FpsCommon.h"
#include "strategy/AppDynamicFps.h"
#include "strategy/GameDynamicFps.h"
#include "strategy/GameHighFps.h"

namespace KVT {
namespace {

std::atomic<const char*> gBroken{nullptr};

void Require(bool holds, const char* rule) {
    if (!holds) {
        gBroken = rule;
    }
}

/** One actor's choices: its own generator, so that actors do not depend on each other's order. */
class Dice {
  public:
    Dice(uint64_t seed, uint64_t actor) : mRandom(seed * 16 + actor) {}

    uint64_t below(uint64_t bound) { return mRandom() % bound; }

    template <typename T, size_t N>
    T oneOf(const T (&choices)[N]) {
        return choices[below(N)];
    }

  private:
    std::mt19937_64 mRandom;
};

/** Pauses that meet the strategies' own deadlines, and miss them by as little as can be. */
void PauseLikeAFinger(Dice& dice) {
    static constexpr int64_t kPausesNs[] = {0,
                                            0,
                                            1,
                                            kNsPerMs,
                                            100 * kNsPerMs,
                                            200 * kNsPerMs - 1,
                                            200 * kNsPerMs,
                                            200 * kNsPerMs + 1,
                                            400 * kNsPerMs};
    SleepFor(dice.oneOf(kPausesNs));
}

void PauseLikeAGame(Dice& dice) {
    static constexpr int64_t kPausesNs[] = {
        0, 0, 1, 100 * kNsPerMs, 2 * kNsPerS, 5 * kNsPerS - 1, 5 * kNsPerS, 5 * kNsPerS + 1};
    SleepFor(dice.oneOf(kPausesNs));
}

using Actors = std::vector<std::unique_ptr<VirtualThread>>;

void Start(Actors& actors, const char* name, std::function<void()> body) {
    actors.push_back(std::make_unique<VirtualThread>(name, std::move(body)));
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
    static constexpr const char* kGestures[] = {"du", "du", "du", "ddu", "duu", "u", "dudu"};
    for (uint64_t count = 1 + dice.below(4); count > 0; --count) {
        for (const char* event = dice.oneOf(kGestures); *event != 0; ++event) {
            *event == 'd' ? Touch() : Lift();
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

void PlayApplication(uint64_t seed) {
    Actors actors;
    Start(actors, "finger", [seed] { MoveFinger(Dice(seed, 1)); });
    Start(actors, "policy", [seed] { ResetAppStrategy(Dice(seed, 2)); });
    Start(actors, "screen", [seed] { RefreshScreen(Dice(seed, 3)); });
    if (seed % 8 == 0) {
        Start(actors, "player",
              [] { AppFpsDetect::GetInstance()->UpdateTimestamp(MonotonicNow()); });
    }
    actors.clear();

    SleepFor(10 * kNsPerS);
    VirtualTime::Settle();
    Require(StrategyWorld::Panel() == kLowHz, "a tap left the panel at 90");

    Touch();
    VirtualTime::Settle();
    Require(StrategyWorld::Panel() == kHighHz, "a touch was not answered");
    SleepFor(kNsPerS);
    VirtualTime::Settle();
    Require(StrategyWorld::Panel() == kHighHz, "a finger on the screen was dropped to 60");
    Lift();
    SleepFor(kNsPerS);
    VirtualTime::Settle();
    Require(StrategyWorld::Panel() == kLowHz, "the last tap left the panel at 90");
}

// ---- A game and the policy ----

enum class Armed { kNone, kDynamic, kHigh };
std::atomic<Armed> gArmed{Armed::kNone};

/** What the policy does when a game comes to the front: reset all, set the panel, arm one. */
void Arm(Armed strategy) {
    FpsCommon::forcedGameFps = kNoGameFps;
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
    static constexpr Armed kStrategies[] = {Armed::kNone, Armed::kDynamic, Armed::kDynamic,
                                            Armed::kHigh, Armed::kHigh};
    for (uint64_t count = 1 + dice.below(4); count > 0; --count) {
        Arm(dice.oneOf(kStrategies));
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

constexpr int32_t kGameRates[] = {30, 45, 46, 59, 60, 60, 60, 61, 90};

void RunGame(Dice dice) {
    for (uint64_t count = dice.below(8); count > 0; --count) {
        Detect(dice.oneOf(kGameRates));
        PauseLikeAGame(dice);
    }
}

void Report(Dice dice) {
    static constexpr const char* kReports[] = {
        R"({"pkg":"com.tencent.tmgp.pubgmhd","1":101,"10":90})",
        R"({"pkg":"com.tencent.tmgp.pubgmhd","1":5})",
        R"({"pkg":"com.tencent.tmgp.pubgmhd","1":[101],"10":{}})", "{"};
    for (uint64_t count = dice.below(4); count > 0; --count) {
        android::String8 report(dice.oneOf(kReports));
        GameDynamicFps::GetInstance()->UpdateGameSdkInfo(report);
        PauseLikeAGame(dice);
    }
}

constexpr char kTrial[] = "KVTService I GameDynamicFps: set lcd to 90Hz 5s";
constexpr char kBoostStart[] = "KVTService I GameHighFps: send 90fps to sched 5s: start";
constexpr char kBoostEnd[] = "KVTService I GameHighFps: send 90fps to sched: end";

/** A rate that comes late, when the policy has disarmed both. */
void RequireNoAnswer() {
    const int32_t panelBefore = StrategyWorld::Panel();
    const int trialsBefore = StrategyWorld::Count(kTrial);
    const int boostsBefore = StrategyWorld::Count(kBoostStart);
    for (const int32_t fps : {90, 60, 30}) {
        GameDynamicFps::GetInstance()->SetGameFps(fps);
        GameHighFps::GetInstance()->SetGameFps(fps);
        SleepFor(kNsPerS);
        VirtualTime::Settle();
        Require(StrategyWorld::Panel() == panelBefore &&
                    StrategyWorld::Count(kTrial) == trialsBefore &&
                    StrategyWorld::Count(kBoostStart) == boostsBefore,
                "a strategy that was reset went on");
    }
}

void RequireAnswer(int32_t fps, int trialsBefore, int boostsBefore) {
    const int32_t panel = StrategyWorld::Panel();
    switch (gArmed.load()) {
        case Armed::kDynamic:
            Require(fps <= 60 || panel == kHighHz, "a game above 60 was left at 60");
            Require(fps >= 46 || panel == kLowHz, "a game below 46 was left at 90");
            Require(fps != 60 || panel == kHighHz || StrategyWorld::Count(kTrial) > trialsBefore,
                    "a game that came to 60 got no trial");
            break;
        case Armed::kHigh:
            Require(panel == kHighHz, "a strategy that was reset set the panel");
            Require(fps != 60 || StrategyWorld::Count(kBoostStart) > boostsBefore,
                    "a game that came to 60 got no boost");
            break;
        case Armed::kNone:
            Require(panel == kLowHz, "a strategy that was reset set the panel");
            break;
    }
    Require(FpsCommon::forcedGameFps == kNoGameFps, "a forced frame rate was left behind");
    Require(StrategyWorld::Count(kBoostStart) == StrategyWorld::Count(kBoostEnd),
            "a boost did not end");
}

void PlayGame(uint64_t seed) {
    Dice dice(seed, 0);
    Actors actors;
    Start(actors, "policy", [seed] { SwitchGames(Dice(seed, 1)); });
    Start(actors, "detector", [seed] { RunGame(Dice(seed, 2)); });
    Start(actors, "sdk", [seed] { Report(Dice(seed, 3)); });
    actors.clear();

    // The last rates in quick succession, the very last of which is a change in any case.
    static constexpr int32_t kLastRates[] = {60, 60, 60, 60, 45, 46, 61, 90};
    const int32_t last = dice.oneOf(kLastRates);
    Detect(59);
    Detect(dice.oneOf(kLastRates));
    SleepFor(dice.oneOf<int64_t>({0, 1, 100 * kNsPerMs, 5 * kNsPerS}));
    Detect(last + 1);
    SleepFor(dice.oneOf<int64_t>({0, 0, 0, 1}));
    const int trialsBefore = StrategyWorld::Count(kTrial);
    const int boostsBefore = StrategyWorld::Count(kBoostStart);
    Detect(last);
    SleepFor(12 * kNsPerS);
    VirtualTime::Settle();
    RequireAnswer(last, trialsBefore, boostsBefore);
    Arm(Armed::kNone);
    RequireNoAnswer();
}

/** The performance service hears of a change at once, whatever the reporter was doing. */
void RequireReport() {
    SleepFor(1);
    StrategyWorld::LetPanelObeyAfter(0);
    LcdFpsControl::SetLcdFps(StrategyWorld::Panel() == kLowHz ? kHighHz : kLowHz);
    VirtualTime::Settle();
    Require(StrategyWorld::LastRateTold() == StrategyWorld::Panel(),
            "a change of the panel was not reported");
}

}  // namespace

const char* RunSchedule(uint64_t seed) {
    StrategyWorld::Create(seed);
    if (seed % 3 == 0) {
        // One forced refresh of the screen for each change.
        StrategyWorld::LetPanelObeyAfter(1);
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

// SPDX-License-Identifier: Apache-2.0
// Schedules of the whole phone: framework packages, power and limits, frames, a finger, SDK reports
// and a panel that changes by itself against the real policy, detection, strategies and display
// control. Once all is quiet, the phone must be as a decision on the final state makes it, and the
// strategy that is armed must do its work.
#include <algorithm>
#include <atomic>
#include <random>

#include "common/Paths.h"
#include "config/XmlParser.h"
#include "detect/GameFpsDetect.h"
#include "host/FrameworkClient.h"
#include "host/KVTServiceImpl.h"
#include "policy/FpsCommon.h"
#include "sim/fakes/FakePhone.h"
#include "sync/Condition.h"
#include "sync/virtual/VirtualTime.h"
#include "tests/strategy/ScheduleScenarios.h"
#include "tests/support/LogCapture.h"

namespace KVT {
namespace {

constexpr const char* kReportingGame = "com.tencent.tmgp.pubgmhd";
constexpr const char* kPackages[] = {"app.fixed",  "app.high", "app.touch",        "game.dynamic",
                                     "game.const", "a.plain",  "android.view.cts", kReportingGame};
constexpr const char* kReports[] = {
    R"({"pkg":"com.tencent.tmgp.pubgmhd","1":101,"10":90})",
    R"({"pkg":"com.tencent.tmgp.pubgmhd","1":5,"10":60})",
    R"({"pkg":"com.tencent.tmgp.pubgmhd","1":101,"10":"90"})",
    "{",
};
constexpr const char* kGames[] = {"game.dynamic", "game.other", kReportingGame, "game.const"};
constexpr int64_t kQuietNs = 12 * kNsPerS;  // longer than any wait of a strategy

/** All of it lives as long as the check threads, which is as long as the process. */
struct PhoneUnderTest {
    LogCapture logs;
    sim::FakePhone fakes;
    android::sp<KVTServiceImpl> service = new KVTServiceImpl;
    android::sp<IKVTService> compositor = new BpKVTService(service);
    FrameworkClient framework{service};
    // A touch that is under way while the policy switches the touch strategy off would reach it:
    // that the compositor has looked at its switch and the service has got the touch is one step.
    Mutex touchIsUnderWay;
};

PhoneUnderTest& TheUnit() {
    static auto* unit = new PhoneUnderTest;
    return *unit;
}

void Configure() {
    SetPaths({"/nonexistent", "/dev/null"});
    ConfigTables& tables = FpsCommon::tables;
    tables.settingSwitchMap[0] = {{"app_default", 2},
                                  {"game_default", 9},
                                  {"app_perceptible_switch", 3},
                                  {"app_imperceptible_switch", 9},
                                  {"game_perceptible_switch", 3},
                                  {"game_imperceptible_switch", 9}};
    tables.appPkgFilterMap["app_pkg_perceptible_list"].insert("app.high");
    tables.appPkgFilterMap["app_pkg_imperceptible_list"].insert("app.touch");
    tables.gameFilterMap["game_pkg_perceptible_list"].insert("game.const");
}

using Dice = std::mt19937_64;

void Pause(Dice& dice) {
    constexpr int64_t kPauses[] = {0,          0, 1, 16 * kNsPerMs, 200 * kNsPerMs, 900 * kNsPerMs,
                                   5 * kNsPerS};
    SleepFor(kPauses[dice() % std::size(kPauses)]);
}

/** Lets a thread act at the very moment of the next frame. */
class FrameBeat {
  public:
    void frame() {
        MutexLock lock(mMutex);
        mNext.signal();
    }
    void await() {
        MutexLock lock(mMutex);
        mNext.clear();
        (void)mNext.waitUntil(mMutex, MonotonicNow() + kNsPerS);
    }

  private:
    Mutex mMutex;
    Condition mNext;
};
FrameBeat gFrameBeat;

void PlayFramework(Dice dice) {
    for (int event = 0; event < 12; ++event) {
        {
            MutexLock lock(TheUnit().touchIsUnderWay);
            switch (dice() % 5) {
                case 0:
                    TheUnit().framework.send(POWER_MODE, static_cast<int32_t>(dice() % 3));
                    break;
                case 1:
                    TheUnit().framework.send(GAME_FPS_LIMIT,
                                             static_cast<int32_t>(dice() % 2) * 41 - 1);
                    break;
                default:
                    TheUnit().framework.packages(kPackages[dice() % std::size(kPackages)], {});
            }
        }
        dice() % 3 == 0 ? gFrameBeat.await() : Pause(dice);
    }
}

/** The display service is asked to restore the rate now and then, and sometimes has to. */
void PlayRecovery(Dice dice, bool panelChanges) {
    for (int recovery = 0; recovery < 6; ++recovery) {
        Pause(dice);
        if (panelChanges && dice() % 2 == 0) {
            TheUnit().fakes.panel->changeByItself(dice() % 2 == 0 ? "60" : "90");
        }
        FpsCommon::RecoverLcd();
    }
}

void Touch(bool down) {
    MutexLock lock(TheUnit().touchIsUnderWay);
    if (TheUnit().fakes.compositor->wantsTouchEvents()) {
        TheUnit().compositor->SetLcdEvent(down ? 1 : 0);
    }
}

void PlayFinger(Dice dice) {
    for (int tap = 0; tap < 8; ++tap) {
        Touch(true);
        Pause(dice);
        Touch(false);
        if (dice() % 3 == 0) {
            TheUnit().compositor->NotifyFrameRefresh(MonotonicNow());
        }
        Pause(dice);
    }
}

/** Stamped regularly, as by the panel's clock, even if the sender is late. */
void SendFrames(int64_t lengthNs, int count) {
    int64_t timestamp = MonotonicNow();
    for (int frame = 0; frame < count; ++frame) {
        timestamp += lengthNs;
        SleepFor(timestamp - MonotonicNow());
        gFrameBeat.frame();
        LayerTimeInfo info{
            "SurfaceView - " + std::string(kReportingGame) + "/com.epicgames.ue4.GameActivity#0",
            timestamp, false};
        TheUnit().compositor->SendLayerTimeInfo(info);
    }
}

void PlayFrames(Dice dice) {
    for (int scene = 0; scene < 6; ++scene) {
        constexpr int64_t kLengths[] = {11'111'111, 16'666'666, 25'000'000};
        SendFrames(kLengths[dice() % std::size(kLengths)], 60);
    }
}

void PlaySdk(Dice dice) {
    for (int report = 0; report < 6; ++report) {
        TheUnit().fakes.gameSdk->report(kReports[dice() % std::size(kReports)]);
        Pause(dice);
    }
}

// ---- How a schedule ends ----

/** Frames until detection is sure of the last of them, whatever was before. */
constexpr int kFramesUntilSure = 400;
/** Frames until detection tells the first rate of a game. */
constexpr int kFramesUntilFirst = 120;
/** Steady frames from one result of detection to the next. */
constexpr int kFramesBetweenResults = 100;
constexpr int64_t kSilenceNs = 121 * kNsPerS;  // in which listeners hear nothing of a new game

struct Listener : BnKVTListener {
    void NotifyGameFpsToAps(int32_t fps) override { highestFps = std::max(highestFps.load(), fps); }
    std::atomic<int32_t> highestFps{0};
};

bool SchedulerWasTold90() {
    const std::vector<std::string> messages = TheUnit().fakes.sched->takeMessages();
    return std::any_of(messages.begin(), messages.end(), [](const std::string& message) {
        return message.find("90") != std::string::npos;
    });
}

/** The phone at rest: everything is as the decision wants it. */
const char* WhatIsBrokenAtRest() {
    PhoneUnderTest& unit = TheUnit();
    const Decision decision = FpsCommon::Decide();
    const bool wantsTouches = decision.outcome == Outcome::kAppDynamic;
    const int32_t panel = unit.fakes.panel->currentHz();
    if (unit.fakes.compositor->wantsTouchEvents() != wantsTouches) {
        return "the compositor was not told whether touches are wanted";
    }
    if (FpsCommon::forcedGameFps != kNoGameFps) {
        return "a forced frame rate outlived its reason";
    }
    if (!wantsTouches && decision.outcome != Outcome::kGameDynamic && panel != decision.rate) {
        return "the panel is not at the decision's rate";
    }
    if (FpsCommon::gameScene != (FpsCommon::CachedType(FpsCommon::CurrentPkgName()) == kTypeGame)) {
        return "the game flag is not the foreground's";
    }
    if (!wantsTouches) {
        unit.compositor->SetLcdEvent(1);
        unit.compositor->SetLcdEvent(0);
        SleepFor(kNsPerS);
        VirtualTime::Settle();
        if (unit.fakes.panel->currentHz() != panel) {
            return "a touch that nobody wants moved the panel";
        }
    }
    return nullptr;
}

/** The game goes on as it was, and its rate changes once more, to well above or below 60. */
const char* EndWithTheSameGame(Dice dice) {
    const int32_t fps = dice() % 2 == 0 ? 90 : 40;
    SendFrames(kNsPerS / fps, kFramesUntilSure);
    SleepFor(kQuietNs);
    VirtualTime::Settle();
    if (FpsCommon::Decide().outcome == Outcome::kGameDynamic &&
        TheUnit().fakes.panel->currentHz() != (fps > 60 ? kHighHz : kLowHz)) {
        return "a change of the game's rate went unanswered";
    }
    return nullptr;
}

constexpr int64_t kFastFrameNs = kNsPerS / 90;

/** Frames at 90 fps of a game that has just come, up to the last before a result of detection. */
void RunUpToAResult() {
    (void)TheUnit().fakes.sched->takeMessages();
    for (int frame = 0; frame < kFramesUntilFirst && !SchedulerWasTold90(); ++frame) {
        SendFrames(kFastFrameNs, 1);
    }
    SendFrames(kFastFrameNs, kFramesBetweenResults - 1);
}

/** One game after the other gives way to the next while a result of its own is on its way. */
const char* SwitchGames(Dice& dice) {
    PhoneUnderTest& unit = TheUnit();
    size_t game = dice() % std::size(kGames);
    unit.framework.send(POWER_MODE, 2);
    unit.framework.send(GAME_FPS_LIMIT, kNoGameFps);
    unit.framework.packages("app.fixed", {});
    unit.framework.packages(kGames[game], {});
    for (int change = 0; change < 4; ++change) {
        RunUpToAResult();
        game = (game + 1 + dice() % (std::size(kGames) - 1)) % std::size(kGames);
        {
            VirtualThread framework("framework", [&] {
                SleepFor(kFastFrameNs);
                unit.framework.packages(kGames[game], {});
            });
            SendFrames(kFastFrameNs, 1);
        }
        SleepFor(kNsPerS);
        VirtualTime::Settle();
        if (const Decision decision = FpsCommon::Decide();
            unit.fakes.panel->currentHz() != decision.rate) {
            return "a game's rate moved the panel of the next game";
        }
    }
    return nullptr;
}

/** The last of several games is at a steady rate from its first frame on. */
const char* EndWithAnotherGame(Dice dice) {
    if (const char* broken = SwitchGames(dice); broken != nullptr) {
        return broken;
    }
    SleepFor(kSilenceNs);
    PhoneUnderTest& unit = TheUnit();
    (void)unit.fakes.sched->takeMessages();
    const android::sp<Listener> listener = new Listener;
    unit.service->RegisterListener(listener);

    constexpr int32_t kRates[] = {60, 60, 60, 40, 90};
    const int32_t fps = kRates[dice() % std::size(kRates)];
    SendFrames(kNsPerS / fps, kFramesUntilSure);
    SleepFor(kQuietNs);
    VirtualTime::Settle();

    if (listener->highestFps != std::max(fps, 60)) {
        return "listeners were not told the game's highest rate";
    }
    if (FpsCommon::Decide().outcome == Outcome::kGameDynamic &&
        unit.fakes.panel->currentHz() != (fps > 60 ? kHighHz : kLowHz)) {
        return "the panel does not follow the game";
    }
    if (SchedulerWasTold90() != (fps >= 60)) {
        return fps == 60 ? "a game at 60 got no help to climb"
                         : "the scheduler was told another rate than the game's";
    }
    return nullptr;
}

// ---- Under the finger ----

/** A tap, and a recovery of the panel in the moment in which the lift lowers it. */
const char* Tap() {
    Touch(true);
    SleepFor(kNsPerS);
    VirtualTime::Settle();
    if (TheUnit().fakes.panel->currentHz() != kHighHz) {
        return "a finger on the screen did not get 90";
    }
    {
        VirtualThread recovery("recovery", [] {
            SleepFor(200 * kNsPerMs);
            FpsCommon::RecoverLcd();
        });
        Touch(false);
    }
    SleepFor(kNsPerS);
    VirtualTime::Settle();
    return TheUnit().fakes.panel->currentHz() == kLowHz ? nullptr : "a tap left the panel at 90";
}

/** For a phone at rest: a touch raises the panel and its lift drops it, whatever comes between. */
const char* WhatIsBrokenUnderTheFinger() {
    FrameworkClient& framework = TheUnit().framework;
    if (FpsCommon::Decide().outcome != Outcome::kAppDynamic) {
        framework.send(POWER_MODE, 2);
        framework.packages("app.fixed", {});  // a compatibility test holds the package after it
        framework.packages("app.touch", {});
    }
    for (int tap = 0; tap < 4; ++tap) {
        if (const char* broken = Tap(); broken != nullptr) {
            return broken;
        }
    }
    Touch(true);
    framework.send(POWER_MODE, 1);
    if (TheUnit().fakes.panel->currentHz() != kLowHz) {
        return "saving power did not lower the panel";
    }
    framework.send(POWER_MODE, 2);
    return Tap();
}

/** For a phone at rest. */
const char* WhatIsBrokenAfterARecovery() {
    sim::FakePanel& panel = *TheUnit().fakes.panel;
    const int32_t before = panel.currentHz();
    panel.changeByItself(before == kLowHz ? "90" : "60");
    FpsCommon::RecoverLcd();
    return panel.currentHz() == before ? nullptr : "the panel's rate was not restored";
}

}  // namespace

const char* RunSchedule(uint64_t seed) {
    VirtualTime::Enter({seed});
    Configure();
    PhoneUnderTest& unit = TheUnit();
    for (const char* game : kGames) {
        unit.fakes.classifier->setType(game, kTypeGame);
    }
    sim::FakePanel::Behaviour behaviour;
    behaviour.obeysAfter = static_cast<int32_t>(seed % 3);
    unit.fakes.panel->behave(behaviour);
    unit.fakes.publish();
    FpsCommon::Init();
    GameFpsDetect::GetInstance()->AttachService(unit.service);
    const bool sameGame = seed % 2 == 0;
    const auto dice = [seed](uint64_t actor) { return Dice(seed * 8 + actor); };
    {
        VirtualThread framework("framework", [&] { PlayFramework(dice(0)); });
        VirtualThread finger("finger", [&] { PlayFinger(dice(1)); });
        VirtualThread frames("frames", [&] { PlayFrames(dice(2)); });
        VirtualThread sdk("sdk", [&] { PlaySdk(dice(3)); });
        // A strategy that looks at the panel while it is wrong has nothing to do, and no reason to
        // look again: only a new game is sure to be answered then.
        VirtualThread recovery("recovery", [&] { PlayRecovery(dice(4), !sameGame); });
    }
    const char* broken = sameGame ? EndWithTheSameGame(dice(5)) : EndWithAnotherGame(dice(5));
    if (broken == nullptr) {
        broken = WhatIsBrokenAtRest();
    }
    if (broken == nullptr) {
        broken = WhatIsBrokenUnderTheFinger();
    }
    return broken != nullptr ? broken : WhatIsBrokenAfterARecovery();
}

std::string ScheduleTrace() {
    std::string text;
    for (const std::string& line : TheUnit().logs.take()) {
        text += line + "\n";
    }
    return text;
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
// Schedules of the whole phone: framework packages, power and limits, frames, a finger and
// a panel that changes by itself against the real policy, detection, strategies and display
// control. Once all is quiet, the phone must be as a decision on the final state makes it, and the
// strategy that is armed must do its work.
#include <algorithm>

#include "common/Paths.h"
#include "detect/GameFpsDetect.h"
#include "host/TextDumper.h"
#include "policy/Consequences.h"
#include "sim/Invariants.h"
#include "tests/policy/PhoneUnderTest.h"
#include "tests/strategy/ScheduleScenarios.h"

namespace KVT {
namespace {

int32_t PanelHz() {
    return TheUnit().fakes.panel->currentHz();
}

/** Whether the panel must follow the game in front, and does not. */
bool IsBehindTheGame(int32_t fps) {
    return FpsCommon::Decide().outcome == Outcome::kGameDynamic &&
           PanelHz() != (fps > 60 ? kHighHz : kLowHz);
}

void Pause(Dice& dice) {
    SleepFor(
        dice.oneOf<int64_t>({0, 0, 1, 16 * kNsPerMs, 200 * kNsPerMs, 900 * kNsPerMs, 5 * kNsPerS}));
}

std::vector<std::string> SomePackages(Dice& dice) {
    std::vector<std::string> names;
    for (uint64_t count = dice.below(3); count > 0; --count) {
        names.emplace_back(dice.oneOf(kPackages));
    }
    return names;
}

void SendEvent(Dice& dice) {
    FrameworkClient& framework = TheUnit().framework;
    switch (dice.below(8)) {
        case 0:
            framework.send(POWER_MODE, dice.oneOf({0, 1, 2, 4}));
            return;
        case 1:
            framework.send(LCD_SETTING, dice.oneOf({0, 1, 2, 3}));
            return;
        case 2:
            framework.send(GAME_FPS_LIMIT, dice.oneOf({kNoGameFps, 40}));
            return;
        case 3:
            framework.send(TOUCH_POINTER, dice.oneOf({0, 1}));
            return;
        default:
            framework.packages(dice.oneOf(kPackages), SomePackages(dice));
    }
}

void PlayFramework(Dice dice) {
    for (int event = 0; event < 12; ++event) {
        {
            MutexLock lock(TheUnit().touchIsUnderWay);
            SendEvent(dice);
        }
        Pause(dice);
    }
}

/** The configuration is replaced now and then, and is in the end what it was. */
void PlayConfiguration(Dice dice) {
    const Configuration configurations[] = {Configuration(kOtherConfiguration),
                                            Configuration(kConfiguration)};
    for (int change = 0; change < 4; ++change) {
        Pause(dice);
        MutexLock lock(TheUnit().touchIsUnderWay);
        FpsCommon::OnConfigChanged(configurations[change % 2].params());
    }
}

/** Takes back whatever else an event has said: the packages alone decide. */
void LetPackagesDecide() {
    for (const auto& [event, value] :
         {std::pair(POWER_MODE, 2), std::pair(LCD_SETTING, 0),
          std::pair(GAME_FPS_LIMIT, kNoGameFps), std::pair(TOUCH_POINTER, 0)}) {
        TheUnit().framework.send(event, value);
    }
}

/** The display service is asked to restore the rate now and then, and sometimes has to; and somebody looks. */
void PlayRecovery(Dice dice, bool panelChanges) {
    for (int recovery = 0; recovery < 6; ++recovery) {
        Pause(dice);
        if (panelChanges && dice.onceIn(2)) {
            TheUnit().fakes.panel->changeByItself(dice.onceIn(2) ? "60" : "90");
        }
        FpsCommon::RecoverLcd();
        TextDumper dumper;
        FpsCommon::DumpWhy(&dumper);
        FpsCommon::Dump(&dumper);
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
        if (dice.onceIn(3)) {
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
        LayerTimeInfo info{
            "SurfaceView - " + std::string(kReportingGame) + "/com.epicgames.ue4.GameActivity#0",
            timestamp, false};
        TheUnit().compositor->SendLayerTimeInfo(info);
    }
}

void PlayFrames(Dice dice) {
    for (int scene = 0; scene < 6; ++scene) {
        SendFrames(dice.oneOf<int64_t>({11'111'111, 16'666'666, 25'000'000}), 60);
    }
}

/** The classification service is slow or hangs, and the types that were known are forgotten. */
void PlayClassifier(Dice dice) {
    for (int change = 0; change < 6; ++change) {
        TheUnit().fakes.classifier->answerAfter(
            dice.oneOf<int64_t>({0, 300 * kNsPerMs, 1500 * kNsPerMs, 10 * kNsPerS}));
        for (size_t i = 0; i < kRememberedPackages; ++i) {
            MutexLock lock(AppTypes::appTypeMapMutex);
            AppTypes::appTypeMap.put("other." + std::to_string(i), 1);
            AppTypes::appTypeMap.put("other." + std::to_string(i + kRememberedPackages), 1);
        }
        Pause(dice);
    }
    TheUnit().fakes.classifier->answerAfter(0);
}

// ---- How a schedule ends ----

/** Frames until detection is sure of the last of them, whatever was before. */
constexpr int kFramesUntilSure = 400;
/** Frames until detection tells the first rate of a game. */
constexpr int kFramesUntilFirst = 120;
/** Steady frames from one result of detection to the next. */
constexpr int kFramesBetweenResults = 100;

bool SchedulerWasTold90() {
    const std::vector<std::string> messages = TheUnit().fakes.sched->takeMessages();
    return std::any_of(messages.begin(), messages.end(), [](const std::string& message) {
        return message.find("90") != std::string::npos;
    });
}

/** Everything is as the last decision wants it. */
void RequireInvariants() {
    static sim::Invariants invariants(TheUnit().fakes);
    static std::string broken;
    const std::vector<std::string> violated =
        invariants.violated(sim::Invariants::Lately::kNothing);
    if (gBroken == nullptr && !violated.empty()) {
        broken = violated.front();
        Require(false, broken.c_str());
    }
}

void RequireNoUnwantedTouch() {
    const int32_t panel = PanelHz();
    if (!TheUnit().fakes.compositor->wantsTouchEvents()) {
        TheUnit().compositor->SetLcdEvent(1);
        TheUnit().compositor->SetLcdEvent(0);
        Rest(kNsPerS);
        Require(PanelHz() == panel, "a touch that nobody wants moved the panel");
    }
}

/** Two events in one moment, again and again: the last decision has seen both. */
void RequireEventsInTurn(uint64_t seed) {
    for (uint64_t round = 0; round < 4; ++round) {
        {
            Actors actors(seed * 4 + round);
            actors.start("one", [](Dice dice) { SendEvent(dice); });
            actors.start("another", [](Dice dice) { SendEvent(dice); });
        }
        VirtualTime::Settle();
        RequireInvariants();
    }
}

/** The game goes on as it was, and its rate changes once more, to well above or below 60. */
void EndWithTheSameGame(Dice dice) {
    const int32_t fps = dice.oneOf({90, 40});
    SendFrames(kNsPerS / fps, kFramesUntilSure);
    Rest(kQuietNs);
    Require(!IsBehindTheGame(fps), "a change of the game's rate went unanswered");
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

/** Kept from the processor for a while before what was measured is acted on. */
struct LateListener : GameRateListener {
    void onGameRate(int32_t fps) override {
        SleepFor(kNsPerMs);
        Consequences::GetInstance()->onGameRate(fps);
    }
};

/** One game after the other gives way to the next while a result of its own is on its way. */
void SwitchGames(Dice& dice) {
    static LateListener late;
    if (dice.onceIn(2)) {
        GameFpsDetect::GetInstance()->SetRateListener(&late);
    }
    FrameworkClient& framework = TheUnit().framework;
    uint64_t game = dice.below(std::size(kGames));
    LetPackagesDecide();
    framework.packages("app.fixed", {});
    framework.packages(kGames[game], {});
    for (int change = 0; change < 4; ++change) {
        RunUpToAResult();
        game = (game + 1 + dice.below(std::size(kGames) - 1)) % std::size(kGames);
        {
            VirtualThread next("framework", [&] {
                SleepFor(kFastFrameNs);
                framework.packages(kGames[game], {});
            });
            SendFrames(kFastFrameNs, 1);
        }
        Rest(kNsPerS);
        Require(GameFpsDetect::GetInstance()->GetCurrentFps() == 0,
                "a game's rate was taken for that of the next game");
        Require(PanelHz() == FpsCommon::Decide().rate,
                "a game's rate moved the panel of the next game");
    }
    GameFpsDetect::GetInstance()->SetRateListener(Consequences::GetInstance());
}

/** The last of several games is at a steady rate from its first frame on. */
void EndWithAnotherGame(Dice dice) {
    SwitchGames(dice);
    (void)TheUnit().fakes.sched->takeMessages();
    const int32_t fps = dice.oneOf({60, 60, 60, 40, 90});
    SendFrames(kNsPerS / fps, kFramesUntilSure);
    Rest(kQuietNs);

    Require(!IsBehindTheGame(fps), "the panel does not follow the game");
    Require(SchedulerWasTold90() == (fps >= 60),
            fps == 60 ? "a game at 60 got no help to climb"
                      : "the scheduler was told another rate than the game's");
}

// ---- Under the finger ----

/** A tap, and a recovery of the panel in the moment in which the lift lowers it. */
void Tap() {
    Touch(true);
    Rest(kNsPerS);
    Require(PanelHz() == kHighHz, "a finger on the screen did not get 90");
    {
        VirtualThread recovery("recovery", [] {
            SleepFor(200 * kNsPerMs);
            FpsCommon::RecoverLcd();
        });
        Touch(false);
    }
    Rest(kNsPerS);
    Require(PanelHz() == kLowHz, "a tap left the panel at 90");
}

/** For a phone at rest: a touch raises the panel and its lift drops it, whatever comes between. */
void RequireTouches() {
    FrameworkClient& framework = TheUnit().framework;
    if (FpsCommon::Decide().outcome != Outcome::kAppDynamic) {
        LetPackagesDecide();
        framework.packages("app.fixed", {});  // a compatibility test holds the package after it
        framework.packages("app.touch", {});
    }
    for (int tap = 0; tap < 4; ++tap) {
        Tap();
    }
    Touch(true);
    framework.send(POWER_MODE, 1);
    Require(PanelHz() == kLowHz, "saving power did not lower the panel");
    framework.send(POWER_MODE, 2);
    Tap();
}

}  // namespace

const char* RunSchedule(uint64_t seed) {
    VirtualTime::Enter({seed});
    SetPaths({"/nonexistent", "/dev/null"});
    PhoneUnderTest& unit = TheUnit();
    ConfigurePackages();
    unit.fakes.panel->behave(&sim::FakePanel::Behaviour::obeysAfter,
                             static_cast<int32_t>(seed % 3));
    unit.fakes.publish();
    FpsCommon::Init();
    Require(unit.events.start() == android::OK, "no thread for events");
    unit.service = new KVTServiceImpl({}, seed / 2 % 2 == 0 ? &unit.events : nullptr);
    GameFpsDetect::GetInstance()->AttachService(unit.service);
    const bool sameGame = seed % 2 == 0;
    const bool classifierIsSlow = seed / 2 % 2 == 0;
    {
        Actors actors(seed);
        actors.start("framework", PlayFramework);
        actors.start("finger", PlayFinger);
        actors.start("frames", PlayFrames);
        // A strategy that looks at the panel while it is wrong has nothing to do, and no reason to
        // look again: only a new game is sure to be answered then.
        actors.start("recovery", [sameGame](Dice dice) { PlayRecovery(dice, !sameGame); });
        if (seed / 4 % 2 == 0) {
            actors.start("configuration", PlayConfiguration);
        }
        if (classifierIsSlow) {
            actors.start("classifier", PlayClassifier);
        }
    }
    if (classifierIsSlow) {
        Rest(10 * kNsPerS + TypeAsker::kLongestBackOffNs);  // until it has been asked once more
        RequireInvariants();
    }
    sameGame ? EndWithTheSameGame(Dice(seed, 0)) : EndWithAnotherGame(Dice(seed, 0));
    RequireInvariants();
    RequireNoUnwantedTouch();
    RequireEventsInTurn(seed);
    RequireTouches();
    return gBroken;
}

std::string ScheduleTrace() {
    std::string text;
    for (const std::string& line : TheUnit().logs.take()) {
        text += line + "\n";
    }
    return text;
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
// Schedules of the whole phone: framework packages, power and limits, frames, a finger and SDK
// reports against the real policy, detection, strategies and display control. Once all is quiet,
// everything must be as a decision on the final state makes it.
#include <atomic>
#include <random>

#include "common/Paths.h"
#include "config/XmlParser.h"
#include "detect/GameFpsDetect.h"
#include "host/FrameworkClient.h"
#include "host/KVTServiceImpl.h"
#include "policy/FpsCommon.h"
#include "sim/fakes/FakePhone.h"
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

void PlayFramework(Dice dice) {
    for (int event = 0; event < 12; ++event) {
        {
            MutexLock lock(TheUnit().touchIsUnderWay);
            switch (dice() % 5) {
                case 0:
                    TheUnit().framework.powerMode(static_cast<int32_t>(dice() % 3));
                    break;
                case 1:
                    TheUnit().framework.gameFpsLimit(static_cast<int32_t>(dice() % 2) * 41 - 1);
                    break;
                default:
                    TheUnit().framework.packages(kPackages[dice() % std::size(kPackages)], {});
            }
        }
        Pause(dice);
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

void SendFrames(int64_t lengthNs, int count) {
    for (int frame = 0; frame < count; ++frame) {
        SleepFor(lengthNs);
        LayerTimeInfo info{
            "SurfaceView - " + std::string(kReportingGame) + "/com.epicgames.ue4.GameActivity#0",
            MonotonicNow(), false};
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

/** The rate that the game, if there is one, ends with. */
int32_t gLastFps = 0;

/** Frames until detection is sure of the last of them, whatever was before. */
void EndWithSteadyFrames(bool fast) {
    constexpr int kFramesUntilSure = 400;
    gLastFps = fast ? 90 : 40;
    SendFrames(kNsPerS / gLastFps, kFramesUntilSure);
}

const char* WhatIsBroken() {
    const Decision decision = FpsCommon::Decide();
    const bool app = FpsCommon::appDynamicSwitch;
    const bool game = FpsCommon::gameDynamicSwitch;
    const bool const90 = FpsCommon::gameConst90Switch;
    const int32_t panel = TheUnit().fakes.panel->currentHz();
    if (app != (decision.outcome == Outcome::kAppDynamic) ||
        game != (decision.outcome == Outcome::kGameDynamic) ||
        const90 != (decision.outcome == Outcome::kGameConstHigh)) {
        return "the armed strategy is not the decision's";
    }
    if (TheUnit().fakes.compositor->wantsTouchEvents() != app) {
        return "the compositor was not told whether touches are wanted";
    }
    if (FpsCommon::forcedGameFps != kNoGameFps) {
        return "a forced frame rate outlived its reason";
    }
    if (!app && !game && panel != decision.rate) {
        return "the panel is not at the decision's rate";
    }
    if (game && panel != (gLastFps > 60 ? kHighHz : kLowHz)) {
        return "a change of the game's rate went unanswered";
    }
    if (FpsCommon::gameScene != (FpsCommon::CachedType(FpsCommon::CurrentPkgName()) == kTypeGame)) {
        return "the game flag is not the foreground's";
    }
    return nullptr;
}

}  // namespace

const char* RunSchedule(uint64_t seed) {
    VirtualTime::Enter({seed});
    Configure();
    PhoneUnderTest& unit = TheUnit();
    for (const char* game : {"game.dynamic", "game.const", kReportingGame}) {
        unit.fakes.classifier->setType(game, kTypeGame);
    }
    sim::FakePanel::Behaviour behaviour;
    behaviour.obeysAfter = static_cast<int32_t>(seed % 3);
    unit.fakes.panel->behave(behaviour);
    unit.fakes.publish();
    FpsCommon::Init();
    GameFpsDetect::GetInstance()->AttachService(unit.service);
    {
        VirtualThread framework("framework", [seed] { PlayFramework(Dice(seed * 4)); });
        VirtualThread finger("finger", [seed] { PlayFinger(Dice(seed * 4 + 1)); });
        VirtualThread frames("frames", [seed] { PlayFrames(Dice(seed * 4 + 2)); });
        VirtualThread sdk("sdk", [seed] { PlaySdk(Dice(seed * 4 + 3)); });
    }
    EndWithSteadyFrames(seed % 2 == 0);
    SleepFor(kQuietNs);
    VirtualTime::Settle();
    return WhatIsBroken();
}

std::string ScheduleTrace() {
    std::string text;
    for (const std::string& line : TheUnit().logs.take()) {
        text += line + "\n";
    }
    return text;
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "StrategyWorld.h"

#include <android/log.h>

#include <atomic>
#include <cinttypes>
#include <cstdio>

#include "common/Codes.h"
#include "detect/GameFpsDetect.h"
#include "policy/FpsCommon.h"
#include "service/KVTGameSdkListener.h"
#include "strategy/AppDynamicFps.h"
#include "strategy/GameDynamicFps.h"
#include "strategy/GameHighFps.h"
#include "strategy/LcdFpsMonitor.h"
#include "sync/Mutex.h"

namespace KVT {
namespace {

struct State {
    /** One change of the panel at a time, as in the real control. */
    Mutex panelMutex;
    std::atomic<int64_t> panelDelayNs{0};
    std::atomic<int32_t> panelHz{kLowHz};
    std::atomic<int32_t> lastRateTold{0};
    std::atomic<bool> sdkRegisters{true};
    std::function<void(const std::string&)> observer = [](const std::string&) {};
    int64_t startNs = 0;

    Mutex traceMutex;
    std::vector<std::pair<int64_t, std::string>> trace GUARDED_BY(traceMutex);

    void note(std::string what) {
        observer(what);
        MutexLock lock(traceMutex);
        trace.emplace_back(MonotonicNow() - startNs, std::move(what));
    }
};

/** Never destroyed: the check threads end after main. */
State& World() {
    static State* state = new State;
    return *state;
}

void NoteLogLine(const __android_logger_data* data, const char* message) {
    // Priorities 3 to 6 by their initials, as in logcat.
    const char initial = "??VDIWEF"[data->priority];
    World().note(std::string(data->tag) + ' ' + initial + ' ' + message);
}

}  // namespace

// ---- In place of the real thing: see --wrap in tests/CMakeLists.txt ----

extern "C" {

void __wrap__ZN3KVT13LcdFpsControl9SetLcdFpsEi(int32_t fps) {
    MutexLock lock(World().panelMutex);
    SleepFor(World().panelDelayNs);
    World().panelHz = fps;
    World().note("panel " + std::to_string(fps));
    LcdFpsMonitor::GetInstance()->SetLcdRefreshRate(fps);
}

int32_t __wrap__ZN3KVT13LcdFpsControl16GetCurrentLcdFpsEv() {
    return World().panelHz;
}

void __wrap__ZN3KVT13GameFpsDetect22SendTargetFpsToAiSchedEi(GameFpsDetect*, int32_t fps) {
    World().note("scheduler " + std::to_string(fps) + ", forced " +
                 std::to_string(FpsCommon::forcedGameFps));
}

bool __wrap__ZN3KVT18KVTGameSdkListener23RegisterGameSdkCallbackEPKc(KVTGameSdkListener*,
                                                                     const char* name) {
    World().note(std::string("register ") + name);
    return World().sdkRegisters;
}

int __wrap__Z14SendCurrentFpsi(int fps) {
    World().lastRateTold = fps;
    World().note("told " + std::to_string(fps));
    return 0;
}

}  // extern "C"

// ---- The world ----

void StrategyWorld::Create(std::optional<uint64_t> seed) {
    VirtualTime::Enter({seed});
    World().startNs = MonotonicNow();
    __android_log_set_logger(NoteLogLine);
}

void StrategyWorld::StartCheckThreads() {
    AppDynamicFps::GetInstance()->StartCheckFpsThread();
    GameDynamicFps::GetInstance()->StartCheckFpsThread();
    GameHighFps::GetInstance()->StartCheckFpsThread();
    LcdFpsMonitor::GetInstance()->StartCheckFpsThread();
    VirtualTime::Settle();
}

void StrategyWorld::PutPanelAt(int32_t hz) {
    World().panelHz = hz;
}

int32_t StrategyWorld::Panel() {
    return World().panelHz;
}

void StrategyWorld::SetPanelDelay(int64_t ns) {
    World().panelDelayNs = ns;
}

void StrategyWorld::LetSdkRegister(bool success) {
    World().sdkRegisters = success;
}

void StrategyWorld::SetObserver(std::function<void(const std::string&)> observer) {
    World().observer = std::move(observer);
}

int32_t StrategyWorld::LastRateTold() {
    return World().lastRateTold;
}

int StrategyWorld::Count(const std::string& what) {
    MutexLock lock(World().traceMutex);
    int count = 0;
    for (const auto& line : World().trace) {
        count += line.second == what ? 1 : 0;
    }
    return count;
}

std::string StrategyWorld::Trace() {
    MutexLock lock(World().traceMutex);
    std::string text;
    for (const auto& [ns, what] : World().trace) {
        char stamp[32];
        snprintf(stamp, sizeof(stamp), "%" PRId64 ".%03" PRId64 " ", ns / kNsPerS,
                 ns % kNsPerS / kNsPerMs);
        text += stamp + what + '\n';
    }
    return text;
}

void Play(const std::vector<TimedAction>& actions, int64_t untilMs) {
    const int64_t startNs = World().startNs;
    for (const TimedAction& each : actions) {
        SleepFor(startNs + each.atMs * kNsPerMs - MonotonicNow());
        VirtualTime::Settle();
        each.action();
        VirtualTime::Settle();
    }
    SleepFor(startNs + untilMs * kNsPerMs - MonotonicNow());
    VirtualTime::Settle();
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "StrategyWorld.h"

#include <android/log.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "display/LcdFpsControl.h"
#include "display/RateObserver.h"
#include "linux/vendor/Protocol.h"
#include "state/PolicyState.h"
#include "strategy/AppDynamicFps.h"
#include "strategy/GameDynamicFps.h"
#include "strategy/GameHighFps.h"
#include "strategy/LcdFpsMonitor.h"
#include "sync/Mutex.h"
#include "tests/support/Remote.h"

namespace KVT {
namespace {

using android::Parcel;

struct State : public RateObserver {
    std::function<void(const std::string&)> observer = [](const std::string&) {};
    int64_t startNs = 0;
    sim::FakePhone phone;

    Mutex traceMutex;
    std::vector<std::pair<int64_t, std::string>> trace GUARDED_BY(traceMutex);

    void note(std::string what) {
        observer(what);
        MutexLock lock(traceMutex);
        trace.emplace_back(MonotonicNow() - startNs, std::move(what));
    }

    void onFrameNeeded() override { phone.panel->onFrame(); }
    void onRateSet(int32_t fps) override {
        note("panel " + std::to_string(fps));
        LcdFpsMonitor::GetInstance()->SetLcdRefreshRate(fps);
    }

    void publish() {
        phone.publish();
        Meddle(vendor::kSchedService, phone.sched, [this](uint32_t, const Parcel& data) {
            data.readInt32();
            int32_t fps = 0;
            sscanf(data.readString8().string(), "{\"kvtFPS\":\"%d\"}", &fps);
            note("scheduler " + std::to_string(fps) + ", forced " +
                 std::to_string(PolicyState::forcedGameFps));
        });
        Meddle(vendor::kGameSdkService, phone.gameSdk, [this](uint32_t, const Parcel& data) {
            data.readStrongBinder();
            note("register " + std::string(data.readString8().string()));
        });
        Meddle(vendor::kPerfService, phone.perf, [this](uint32_t, const Parcel& data) {
            note("told " + std::to_string(data.readInt32()));
        });
    }
};

/** Never destroyed: the check threads end after main. */
State& World() {
    static State* state = new State;
    return *state;
}

void NoteLogLine(const __android_logger_data* data, const char* message) {
    // What display and SDK say of their own is seen on the other side.
    for (const char* source : {"LcdFpsControl:", "DisplayFreqClient:", "KVTGameSdkListener:"}) {
        if (strncmp(message, source, strlen(source)) == 0) {
            return;
        }
    }
    // Priorities 3 to 6 by their initials, as in logcat.
    const char initial = "??VDIWEF"[data->priority];
    World().note(std::string(data->tag) + ' ' + initial + ' ' + message);
}

}  // namespace

// ---- The world ----

void StrategyWorld::Create(std::optional<uint64_t> seed) {
    VirtualTime::Enter({seed});
    World().startNs = MonotonicNow();
    __android_log_set_logger(NoteLogLine);
    World().publish();
    LcdFpsControl::SetObserver(&World());
    LcdFpsControl::Init();
    LcdFpsMonitor::GetInstance();  // before the strategies, which change the panel to the end
}

void StrategyWorld::StartCheckThreads() {
    AppDynamicFps::GetInstance()->StartCheckFpsThread();
    GameDynamicFps::GetInstance()->StartCheckFpsThread();
    GameHighFps::GetInstance()->StartCheckFpsThread();
    LcdFpsMonitor::GetInstance()->StartCheckFpsThread();
    VirtualTime::Settle();
}

sim::FakePhone& StrategyWorld::Phone() {
    return World().phone;
}

void StrategyWorld::SetObserver(std::function<void(const std::string&)> observer) {
    World().observer = std::move(observer);
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

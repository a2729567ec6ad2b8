// SPDX-License-Identifier: Apache-2.0
#include "StrategyWorld.h"

#include <android/log.h>
#include <binder/Binder.h>
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>

#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "display/LcdFpsControl.h"
#include "display/RateObserver.h"
#include "linux/vendor/Protocol.h"
#include "sim/fakes/FakePanel.h"
#include "state/PolicyState.h"
#include "strategy/AppDynamicFps.h"
#include "strategy/GameDynamicFps.h"
#include "strategy/GameHighFps.h"
#include "strategy/LcdFpsMonitor.h"
#include "sync/Mutex.h"

namespace KVT {
namespace {

using android::Parcel;
using android::status_t;

/** A service of the phone, as far as the strategies speak to it. */
class Peer : public android::BBinder {
  public:
    using Answer = std::function<status_t(const Parcel& data, Parcel* reply)>;

    static void Publish(const char* name, Answer answer) {
        android::defaultServiceManager()->addService(android::String16(name),
                                                     new Peer(std::move(answer)));
    }

  protected:
    status_t onTransact(uint32_t, const Parcel& data, Parcel* reply, uint32_t) override {
        return mAnswer(data, reply);
    }

  private:
    explicit Peer(Answer answer) : mAnswer(std::move(answer)) {}

    const Answer mAnswer;
};

struct State : public RateObserver {
    std::atomic<int32_t> lastRateTold{0};
    std::atomic<bool> sdkRegisters{true};
    std::function<void(const std::string&)> observer = [](const std::string&) {};
    int64_t startNs = 0;
    android::sp<sim::FakePanel> panel;

    Mutex traceMutex;
    std::vector<std::pair<int64_t, std::string>> trace GUARDED_BY(traceMutex);

    void note(std::string what) {
        observer(what);
        MutexLock lock(traceMutex);
        trace.emplace_back(MonotonicNow() - startNs, std::move(what));
    }

    void onFrameNeeded() override { panel->onFrame(); }
    void onRateSet(int32_t fps) override {
        note("panel " + std::to_string(fps));
        LcdFpsMonitor::GetInstance()->SetLcdRefreshRate(fps);
    }

    void publish() {
        panel = new sim::FakePanel(new sim::Journal);
        android::defaultServiceManager()->addService(android::String16(vendor::kDisplayService),
                                                     panel);
        Peer::Publish(vendor::kSchedService, [this](const Parcel& data, Parcel*) {
            data.readInt32();
            int32_t fps = 0;
            sscanf(data.readString8().string(), "{\"kvtFPS\":\"%d\"}", &fps);
            note("scheduler " + std::to_string(fps) + ", forced " +
                 std::to_string(PolicyState::forcedGameFps));
            return android::OK;
        });
        Peer::Publish(vendor::kGameSdkService, [this](const Parcel& data, Parcel* reply) {
            data.readStrongBinder();
            note("register " + std::string(data.readString8().string()));
            return reply->writeInt32(sdkRegisters ? 1 : 0);
        });
        Peer::Publish(vendor::kPerfService, [this](const Parcel& data, Parcel*) {
            lastRateTold = data.readInt32();
            note("told " + std::to_string(lastRateTold));
            return android::OK;
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

void StrategyWorld::PutPanelAt(int32_t hz) {
    World().panel->changeByItself(std::to_string(hz));
}

int32_t StrategyWorld::Panel() {
    return World().panel->currentHz();
}

void StrategyWorld::LetPanelObeyAfter(int32_t frames) {
    sim::FakePanel::Behaviour behaviour = World().panel->behaviour();
    behaviour.obeysAfter = frames;
    World().panel->behave(behaviour);
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

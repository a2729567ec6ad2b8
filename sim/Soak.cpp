// SPDX-License-Identifier: Apache-2.0
#include "sim/Soak.h"

#include <malloc.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <vector>

#include "common/Codes.h"
#include "common/Paths.h"
#include "detect/GameFpsDetect.h"
#include "display/LcdFpsControl.h"
#include "host/FrameworkClient.h"
#include "host/KVTServiceImpl.h"
#include "linux/vendor/Protocol.h"
#include "policy/FpsCommon.h"
#include "sim/Dice.h"
#include "sim/Invariants.h"
#include "sim/fakes/FakePhone.h"
#include "sync/Clock.h"
#include "sync/virtual/VirtualTime.h"

namespace KVT::sim {
namespace {

constexpr int64_t kDayNs = int64_t{24} * 3600 * kNsPerS;
/** Longer than any wait of a strategy, and than the longest pause before a peer is asked again. */
constexpr int64_t kQuietNs = 60 * kNsPerS;
/** More than are remembered, so that some are forgotten every day. */
constexpr uint64_t kPackages = 1500;
constexpr const char* kFamilies[] = {"com.soak.app.",  "com.soak.high.",  "com.soak.touch.",
                                     "com.soak.game.", "com.soak.const.", "android.view.cts"};
constexpr const char* kReportingGame = "com.tencent.tmgp.pubgmhd";

/** One way in which the phone around the service can be out of order, until it is mended. */
struct Fault {
    const char* name;
    void (*inject)(FakePhone& phone, Dice& dice);
};

template <typename T, typename U>
void Behave(FakePhone& phone, T FakePanel::Behaviour::*what, const U& how) {
    phone.panel->behave(what, how);
}

constexpr Fault kFaults[] = {
    {"classification fails",
     [](FakePhone& p, Dice&) { p.classifier->failCalls(android::FAILED_TRANSACTION); }},
    {"classification throws", [](FakePhone& p, Dice&) { p.classifier->throwException(-3); }},
    {"classification is slow",
     [](FakePhone& p, Dice& d) {
         p.classifier->answerAfter(d.oneOf({kNsPerS / 3, 3 * kNsPerS, 40 * kNsPerS}));
     }},
    {"classification is gone", [](FakePhone& p, Dice&) { p.withdraw("IKoraCMSService"); }},
    {"compositor is gone", [](FakePhone& p, Dice&) { p.withdraw("SurfaceFlinger"); }},
    {"panel does not follow",
     [](FakePhone& p, Dice&) {
         Behave(p, &FakePanel::Behaviour::obeysAfter, int32_t{FakePanel::kNever});
     }},
    {"panel follows late",
     [](FakePhone& p, Dice&) { Behave(p, &FakePanel::Behaviour::obeysAfter, 7); }},
    {"display refuses changes",
     [](FakePhone& p, Dice&) { Behave(p, &FakePanel::Behaviour::setError, 1); }},
    {"display does not describe",
     [](FakePhone& p, Dice&) { Behave(p, &FakePanel::Behaviour::getError, 1); }},
    {"panel moves by itself",
     [](FakePhone& p, Dice& d) { p.panel->changeByItself(d.onceIn(2) ? "60" : "90"); }},
    {"scheduler fails", [](FakePhone& p, Dice&) { p.sched->failCalls(true); }},
    {"performance service is gone", [](FakePhone& p, Dice&) { p.withdraw(vendor::kPerfService); }},
    {"display engine is gone",
     [](FakePhone& p, Dice&) { p.withdraw(vendor::kDisplayEngineService); }},
};

void Mend(FakePhone& phone) {
    phone.classifier->failCalls(android::OK);
    phone.classifier->throwException(0);
    phone.classifier->answerAfter(0);
    Behave(phone, &FakePanel::Behaviour::obeysAfter, 0);
    Behave(phone, &FakePanel::Behaviour::setError, 0);
    Behave(phone, &FakePanel::Behaviour::getError, 0);
    phone.sched->failCalls(false);
    phone.publish();
}

/** Any application gets 60 Hz; the families above get what they are called after. */
void ConfigurePackages() {
    ConfigTables& tables = FpsCommon::tables;
    tables.settingSwitchMap[0] = {{"app_default", 2},
                                  {"game_default", 9},
                                  {"app_perceptible_switch", 3},
                                  {"app_imperceptible_switch", 9},
                                  {"game_perceptible_switch", 3},
                                  {"game_imperceptible_switch", 2}};
    tables.appPkgFilterMap["app_pkg_perceptible_list"].insert("com.soak.high");
    tables.appPkgFilterMap["app_pkg_imperceptible_list"].insert("com.soak.touch");
    tables.gameFilterMap["game_pkg_perceptible_list"].insert("com.soak.const");
    tables.gpuCompositionSwitch = true;
    tables.gpuCompositionCountLimit = 3;
}

class SoakRun {
  public:
    SoakRun(const SoakOptions& options, std::ostream& out)
        : mOptions(options), mOut(out), mDice(options.seed, 0) {}

    bool run();

  private:
    struct Account {
        uint64_t injected = 0;
        uint64_t mended = 0;
    };

    void start();
    void stretch();
    void sendEvents(Dice dice);
    void sendEvent(Dice& dice);
    void touch(Dice dice);
    void play(Dice dice);
    void takeRecords();
    bool look(Invariants::Lately lately);
    void settle();
    void print() const;

    std::string somePackage(Dice& dice);

    const SoakOptions& mOptions;
    std::ostream& mOut;
    Dice mDice;
    FakePhone mPhone;
    android::sp<KVTServiceImpl> mService;
    android::sp<IKVTService> mCompositor;
    FrameworkClient mFramework{nullptr};
    std::optional<Invariants> mInvariants;
    // That the compositor has looked at its switch and the service has got the touch is one step.
    Mutex mTouchIsUnderWay;
    int64_t mStart = 0;
    std::array<Account, std::size(kFaults)> mAccounts{};
    uint64_t mStretches = 0;
    std::atomic<uint64_t> mEvents{0};
    std::atomic<uint64_t> mFrames{0};
    uint64_t mViolations = 0;
    size_t mBytesAfterOneDay = 0;
};

std::string SoakRun::somePackage(Dice& dice) {
    if (dice.onceIn(30)) {
        return kReportingGame;
    }
    // Some are used every day, most once in a while.
    const uint64_t number = dice.onceIn(4) ? dice.below(kPackages) : dice.below(20);
    return kFamilies[number % std::size(kFamilies)] + std::to_string(number);
}

void SoakRun::sendEvent(Dice& dice) {
    ++mEvents;
    switch (dice.below(16)) {
        case 0:
            mFramework.send(POWER_MODE, dice.oneOf({0, 1, 2, 2, 2, 4}));
            return;
        case 1:
            mFramework.send(GAME_FPS_LIMIT, dice.oneOf({kNoGameFps, 40}));
            return;
        case 2:
            mFramework.send(TOUCH_POINTER, dice.oneOf({0, 0, 1, 7}));
            return;
        case 3:
            mFramework.fingerprint(dice.onceIn(2) ? "com.android.systemui" : "com.soak.bank",
                                   dice.oneOf({0, 0, 1, 2, 3}));
            return;
        case 4:
            mCompositor->NotifyDisplayHotplugEvent(dice.oneOf({0, 0, 1}));
            return;
        case 5:
            mCompositor->NotifyVirtualDisplayEvent(dice.oneOf({0, 1}));
            return;
        case 6:
            mCompositor->NotifyGpuCompositionEvent(dice.oneOf({0, 1}));
            return;
        case 7:
            FpsCommon::SetLcdLowDownByWechatVideoScene(dice.onceIn(3));
            return;
        case 8:
            FpsCommon::OnFullVideoStatusReceived(dice.onceIn(3) ? 1 : 0);
            return;
        case 9:
            FpsCommon::RecoverLcd();
            return;
        default: {
            std::vector<std::string> visible;
            for (uint64_t count = dice.below(3); count > 0; --count) {
                visible.push_back(somePackage(dice));
            }
            mFramework.packages(somePackage(dice), visible);
        }
    }
}

void Pause(Dice& dice) {
    SleepFor(dice.oneOf<int64_t>(
        {0, kNsPerMs, 16 * kNsPerMs, kNsPerS, 10 * kNsPerS, 60 * kNsPerS, 120 * kNsPerS}));
}

void SoakRun::sendEvents(Dice dice) {
    for (uint64_t count = 5 + dice.below(20); count > 0; --count) {
        {
            MutexLock lock(mTouchIsUnderWay);
            sendEvent(dice);
        }
        Pause(dice);
    }
}

void SoakRun::touch(Dice dice) {
    for (uint64_t taps = dice.below(10); taps > 0; --taps) {
        for (const int32_t event : {1, 0}) {
            MutexLock lock(mTouchIsUnderWay);
            if (mPhone.compositor->wantsTouchEvents()) {
                ++mEvents;
                mCompositor->SetLcdEvent(event);
            }
            mCompositor->NotifyFrameRefresh(MonotonicNow());
        }
        Pause(dice);
    }
}

/** Seconds of frames, now and then, and what the game SDK says of them. */
void SoakRun::play(Dice dice) {
    for (uint64_t scenes = dice.below(4); scenes > 0; --scenes) {
        const int64_t length = kNsPerS / dice.oneOf({90, 60, 61, 40, 30});
        const std::string layer =
            "SurfaceView - " + FpsCommon::CurrentPkgName() + "/com.soak.Activity#0";
        for (uint64_t frames = dice.oneOf<uint64_t>({10, 200, 600}); frames > 0; --frames) {
            SleepFor(length);
            LayerTimeInfo info{layer, MonotonicNow(), dice.onceIn(100)};
            mCompositor->SendLayerTimeInfo(info);
            ++mFrames;
        }
        if (dice.onceIn(2)) {
            mPhone.gameSdk->report(R"({"pkg":")" + std::string(kReportingGame) + R"(","1":)" +
                                   std::to_string(dice.below(10)) + R"(,"10":)" +
                                   std::to_string(dice.oneOf({30, 60, 90})) + "}");
        }
        Pause(dice);
    }
}

void SoakRun::start() {
    SetPaths({mOptions.configFile.empty() ? "/nonexistent" : mOptions.configFile, "/dev/null"});
    if (mOptions.configFile.empty()) {
        ConfigurePackages();
    }
    for (uint64_t number = 0; number < kPackages; ++number) {
        const std::string family = kFamilies[number % std::size(kFamilies)];
        if (family == "com.soak.game." || family == "com.soak.const.") {
            mPhone.classifier->setType(family + std::to_string(number), kTypeGame);
        }
    }
    mPhone.classifier->setType(kReportingGame, kTypeGame);
    mPhone.publish();
    mService = new KVTServiceImpl;
    mCompositor = new BpKVTService(mService);
    mFramework = FrameworkClient(mService);
    FpsCommon::Init();
    GameFpsDetect::GetInstance()->AttachService(mService);
    mInvariants.emplace(mPhone);
    mStart = MonotonicNow();
}

/** The fakes note what they were told; nobody reads it here. */
void SoakRun::takeRecords() {
    mPhone.journal->take();
    mPhone.compositor->takeCalls();
    mPhone.sched->takeMessages();
    mPhone.perf->takeRates();
    mPhone.displayEngine->takeRates();
}

bool SoakRun::look(Invariants::Lately lately) {
    VirtualTime::Settle();
    const std::vector<std::string> violated = mInvariants->violated(lately);
    for (const std::string& rule : violated) {
        char when[64];
        snprintf(when, sizeof(when), "day %.3f: ",
                 static_cast<double>(MonotonicNow() - mStart) / static_cast<double>(kDayNs));
        mOut << when << rule << std::endl;
    }
    mViolations += violated.size();
    return violated.empty();
}

/** Everything is mended, every scene over, another package comes to the front and stays. */
void SoakRun::settle() {
    Mend(mPhone);
    SleepFor(kQuietNs);
    mFramework.send(POWER_MODE, 2);
    mFramework.send(TOUCH_POINTER, 0);
    mCompositor->NotifyDisplayHotplugEvent(0);
    while (FpsCommon::virtualDisplayStatus != 0) {
        mCompositor->NotifyVirtualDisplayEvent(FpsCommon::virtualDisplayStatus < 0 ? 1 : 0);
    }
    mFramework.fingerprint("com.soak.bank", 0);
    mFramework.packages("com.soak.app.rest", {});
    mFramework.packages(somePackage(mDice), {});
    SleepFor(kQuietNs);
    mInvariants->onPeersMended();
}

void SoakRun::stretch() {
    ++mStretches;
    std::vector<size_t> broken;
    for (uint64_t faults = mDice.below(3); faults > 0; --faults) {
        broken.push_back(mDice.below(std::size(kFaults)));
        mInvariants->onPeerFault();
        kFaults[broken.back()].inject(mPhone, mDice);
        ++mAccounts[broken.back()].injected;
    }
    {
        const Dice events(mDice.below(UINT64_MAX), 0);
        const Dice finger(mDice.below(UINT64_MAX), 0);
        const Dice frames(mDice.below(UINT64_MAX), 0);
        VirtualThread framework("framework", [this, events] { sendEvents(events); });
        VirtualThread touches("finger", [this, finger] { touch(finger); });
        VirtualThread game("game", [this, frames] { play(frames); });
    }
    look(Invariants::Lately::kManyEvents);
    settle();
    const bool isRight = look(Invariants::Lately::kNothing);
    for (const size_t fault : broken) {
        mAccounts[fault].mended += isRight ? 1 : 0;
    }
    takeRecords();
    SleepFor(static_cast<int64_t>(mDice.below(10)) * 60 * kNsPerS);
}

void SoakRun::print() const {
    const RateStats::Totals totals = LcdFpsControl::stats.totals();
    mOut << "soak of " << mOptions.days << " days, seed " << mOptions.seed << "\n"
         << "  stretches " << mStretches << ", events " << mEvents << ", frames " << mFrames
         << ", panel switches " << totals.switches << ", failed changes " << totals.failures
         << "\n  fault                         injected   all right after\n";
    for (size_t i = 0; i < std::size(kFaults); ++i) {
        char line[128];
        snprintf(line, sizeof(line), "  %-30s %7llu   %7llu\n", kFaults[i].name,
                 static_cast<unsigned long long>(mAccounts[i].injected),
                 static_cast<unsigned long long>(mAccounts[i].mended));
        mOut << line;
    }
    mOut << "  memory in use: " << mBytesAfterOneDay / 1024 << " kB after the first day, "
         << mallinfo2().uordblks / 1024 << " kB at the end\n"
         << "  violated rules: " << mViolations << "\n";
}

bool SoakRun::run() {
    start();
    const int64_t end = mStart + static_cast<int64_t>(mOptions.days * kDayNs);
    while (MonotonicNow() < end) {
        stretch();
        if (mBytesAfterOneDay == 0 && MonotonicNow() - mStart > kDayNs) {
            mBytesAfterOneDay = mallinfo2().uordblks;
        }
    }
    print();
    return mViolations == 0;
}

}  // namespace

bool Soak(const SoakOptions& options, std::ostream& out) {
    VirtualTime::Options time;
    time.seed = options.seed;
    VirtualTime::Enter(time);
    // It lives as long as the check threads, which is as long as the process.
    static auto* const soak = new SoakRun(options, out);
    return soak->run();
}

}  // namespace KVT::sim

// SPDX-License-Identifier: Apache-2.0
#include "sim/Player.h"

#include <cutils/properties.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <utility>

#include "common/CleanText.h"
#include "common/Paths.h"
#include "detect/GameFpsDetect.h"
#include "display/LcdFpsControl.h"
#include "host/KVTServiceImpl.h"
#include "policy/FpsCommon.h"
#include "sync/Clock.h"
#include "sync/virtual/VirtualTime.h"

namespace KVT::sim {
namespace {

constexpr int kForegroundWidth = 30;
// Trials and boosts take 5 s, and so does the touch strategy at most.
constexpr int64_t kSettledNs = 6 * kNsPerS;
// A panel that does not settle ends, too.
constexpr int kMostRests = 100;

double Seconds(int64_t ns) {
    return static_cast<double>(ns) / static_cast<double>(kNsPerS);
}

std::string Describe(const Decision& decision) {
    std::string text =
        "decision: " + std::string(NameOf(decision.outcome)) + ", rule " + decision.rule->name;
    if (decision.code >= 0) {
        text += " " + std::to_string(decision.code);
    }
    return text + (decision.rate == kRateUntouched ? ", rate left to the strategy"
                                                   : ", " + std::to_string(decision.rate) + " Hz");
}

/** What a strategy asks for, or who else it is; a decision has a line of its own. */
std::string Describe(const RateEntry& entry) {
    std::string text = std::string("cause: ") + entry.cause.name();
    return entry.askedHz == RateEntry::kNothingAsked
               ? text
               : text + ", " + std::to_string(entry.askedHz) + " Hz";
}

/** Hears what the service tells its listeners. */
class JournalListener : public BnKVTListener {
  public:
    explicit JournalListener(const android::sp<Journal>& journal) : mJournal(journal) {}
    void NotifyGameFpsToAps(int32_t fps) override {
        mJournal->add("listeners told " + std::to_string(fps) + " fps");
    }

  private:
    const android::sp<Journal> mJournal;
};

}  // namespace

void Player::startService() {
    const android::sp<KVTServiceImpl> service = new KVTServiceImpl;
    mWorld.phone.publish(mScenario.missing);
    FpsCommon::Init();
    GameFpsDetect::GetInstance()->AttachService(service);
    service->RegisterListener(new JournalListener(mWorld.phone.journal));
    // The proxy makes the compositor's calls real ones, parcels and all.
    mWorld.attach(service, new BpKVTService(service));
}

void Player::line(int64_t time, const std::string& text) {
    const std::string foreground(Beginning(CleanText(mForeground), kForegroundWidth));
    char head[128];
    snprintf(head, sizeof(head), "%10.3f s  %3d Hz  %-*s  ", Seconds(time - mStart), mHz,
             kForegroundWidth, foreground.c_str());
    // Ends the stream's buffer, too: a fatal fault must not take the report with it.
    mOut << head << CleanText(text, "=") << std::endl;
    ++mLines;
}

void Player::printConsequences() {
    struct Entry {
        int64_t time;
        std::string text;
        const DecisionRecord* decision;
    };
    const std::vector<DecisionRecord> records = FpsCommon::decisions.since(mLastDecision);
    std::vector<Entry> entries;
    for (const DecisionRecord& record : records) {
        mLastDecision = record.number;
        entries.push_back({record.time, Describe(record.decision), &record});
    }
    for (Journal::Entry& entry : mWorld.phone.journal->take()) {
        entries.push_back({entry.time, std::move(entry.text), nullptr});
    }
    for (const RateEntry& entry : LcdFpsControl::journal.since(mLastRate)) {
        mLastRate = entry.number;
        if (entry.cause.kind != Cause::kDecision) {
            entries.push_back({entry.time + entry.tookNs, Describe(entry), nullptr});
        }
    }
    std::stable_sort(entries.begin(), entries.end(),
                     [](const Entry& a, const Entry& b) { return a.time < b.time; });
    for (const Entry& entry : entries) {
        int32_t from = 0;
        int32_t to = 0;
        if (entry.decision != nullptr) {
            mForeground = entry.decision->pkg;
        } else if (sscanf(entry.text.c_str(), "panel %d%*[^>]> %d", &from, &to) == 2) {
            mHz = to;
        }
        line(entry.time, "  " + entry.text);
    }
    if (const uint64_t failures = LcdFpsControl::stats.totals().failures; failures != mFailures) {
        mFailures = failures;
        line(MonotonicNow(), "  panel did not follow a change");
    }
    mForeground = FpsCommon::CurrentPkgName();
}

void Player::printSummary() {
    mOut << "\nSummary of " << Seconds(MonotonicNow() - mStart) << " s\n";
    for (const auto& [rate, ns] : mWorld.phone.panel->timeAtRate()) {
        char text[64];
        snprintf(text, sizeof(text), "  %10.3f s at %s Hz\n", Seconds(ns), rate.c_str());
        mOut << text;
    }
    mOut << "  panel switches: " << mWorld.phone.panel->switches() << "\n"
         << "  failed changes: " << LcdFpsControl::stats.totals().failures << "\n"
         << "  decisions: " << mLastDecision << "\n";
    if (const size_t expected = mScenario.expectations(); expected > 0) {
        mOut << "  expectations: " << expected << ", not met: " << mUnmet.size() << "\n";
    }
    mOut << "  by package\n";
    for (const auto& [pkg, times] : LcdFpsControl::stats.totals().nsAtRateByPackage) {
        const std::string name(Beginning(CleanText(pkg), kForegroundWidth));
        for (const auto& [hz, ns] : times) {
            char text[128];
            snprintf(text, sizeof(text), "    %-*s  %10.3f s at %d Hz\n", kForegroundWidth,
                     name.c_str(), Seconds(ns), hz);
            mOut << text;
        }
    }
}

void Player::play() {
    Paths paths;
    paths.configFile = mScenario.configFile;
    paths.vipCpus = "/dev/null";
    SetPaths(paths);
    for (const auto& [name, value] : mScenario.properties) {
        property_set(name.c_str(), value.c_str());
    }
    for (const Action& action : mScenario.before) {
        action(mWorld);
    }
    mWorld.phone.panel->beginAccount();
    mWorld.phone.journal->take();
    mStart = MonotonicNow();
    mHz = mWorld.phone.panel->currentHz();
    mForeground = FpsCommon::CurrentPkgName();
    for (const ScenarioEvent& event : mScenario.events) {
        mWorld.at(mStart + event.atNs, [this, &event] { happen(event); });
    }
    mWorld.together = [](const std::vector<std::function<void()>>& parts) {
        std::vector<std::unique_ptr<VirtualThread>> threads;
        threads.reserve(parts.size());
        for (const auto& part : parts) {
            threads.push_back(std::make_unique<VirtualThread>("overlapping event", part));
        }
    };
    line(mStart, "the service starts");
    startService();
    printConsequences();
    while (mWorld.nextTime() != INT64_MAX && !mHasEnded) {
        SleepFor(mWorld.nextTime() - MonotonicNow());
        printConsequences();
        mWorld.runNext();
        printConsequences();
    }
    playOn();
    printSummary();
}

void Player::happen(const ScenarioEvent& event) {
    if (event.kind != EventType::kHappens) {
        VirtualTime::Settle();  // what is due just now counts
        printConsequences();
    }
    line(MonotonicNow(), event.text);
    event.action(mWorld);
    for (const std::string& fault : std::exchange(mWorld.unmet, {})) {
        // Who sends an event waits, and what follows can be late.
        const int64_t lateNs = MonotonicNow() - mStart - event.atNs;
        mUnmet.push_back(
            {event.line, fault + (lateNs == 0 ? ""
                                              : "; looked at " + std::to_string(lateNs / kNsPerMs) +
                                                    " ms later")});
    }
    mHasEnded = event.kind == EventType::kEnds;
}

void Player::playOn() {
    VirtualTime::Settle();
    printConsequences();
    uint64_t before = mLines - 1;
    for (int rests = 0; !mHasEnded && mLines != before && rests < kMostRests; ++rests) {
        before = mLines;
        SleepFor(kSettledNs);
        printConsequences();
    }
}

}  // namespace KVT::sim

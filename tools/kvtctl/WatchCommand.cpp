// SPDX-License-Identifier: Apache-2.0
#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <deque>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>

#include "service/KVTListener.h"
#include "service/KVTManager.h"
#include "sync/Clock.h"
#include "sync/Condition.h"
#include "tools/kvtctl/Answers.h"
#include "tools/kvtctl/ServiceCommands.h"
#include "tools/kvtctl/TimedCall.h"

namespace KVT::ctl {
namespace {

using android::IBinder;
using android::sp;
using android::status_t;

constexpr int64_t kPollNs = 200 * kNsPerMs;
constexpr const char* kGone = "kvtctl: the service is gone\n";

struct WatchOptions : AnswerOptions {
    int64_t count = 0;
    int64_t seconds = 0;
    bool fps = false;
};

/** How long a watch goes on: for so many lines, so much time, or until nobody reads them. */
class Watch {
  public:
    Watch(Context& context, const WatchOptions& options)
        : mContext(context),
          mLeft(options.count > 0 ? options.count : INT64_MAX),
          mEndNs(options.seconds > 0 ? MonotonicNow() + options.seconds * kNsPerS : INT64_MAX) {}

    bool goesOn() const { return isRead() && MonotonicNow() < mEndNs; }
    /** Somebody wants another line, be there time for one or not. */
    bool isRead() const { return mLeft > 0 && mContext.out && !mContext.process.isReaderGone(); }
    /** @return whether there is to be another line, which is then counted */
    bool takeLine() { return mLeft > 0 && mLeft-- > 0; }
    /** When to look again whether it goes on. */
    int64_t nextLookNs() const { return std::min(mEndNs, MonotonicNow() + kPollNs); }

  private:
    Context& mContext;
    int64_t mLeft;
    const int64_t mEndNs;
};

// --- Changes of the panel ---

void PrintChanges(Context& context, const WatchOptions& options, const History& history,
                  Watch* watch) {
    const WallClock clock = ClockOf(context, history);
    for (const RateChange& change : history.changes) {
        if (!watch->takeLine()) {
            break;
        }
        if (options.json) {
            PrintJson(context, JsonOf(change, clock), true);
        } else {
            Print(context.out, context.process.terminal(), {TextOf(change, clock)});
        }
    }
    context.out.flush();
}

/** Prints what is new since entry `*seen`; when that is still unknown, notes what is not. */
void PrintNews(Context& context, const WatchOptions& options, const History& history,
               std::optional<uint64_t>* seen, Watch* watch) {
    if (!seen->has_value()) {
        *seen = history.last;
        if (!options.json) {
            Print(context.out, context.process.terminal(), {HistoryHeading()});
            context.out.flush();
        }
    } else if (!history.changes.empty()) {
        if (const uint64_t first = history.changes.front().number; first > **seen + 1) {
            context.err << "kvtctl: " << first - **seen - 1 << " changes were missed\n";
        }
        *seen = history.changes.back().number;
        PrintChanges(context, options, history, watch);
    }
}

void WatchPanel(Context& context, const WatchOptions& options) {
    const sp<IBinder> service = FindService(context, options.deadline());
    if (service == nullptr) {
        return;
    }
    Watch watch(context, options);
    std::optional<uint64_t> seen;
    for (bool isLast = false; !isLast && watch.isRead();) {
        isLast = !watch.goesOn();
        History history;
        const status_t status =
            FetchHistory(service, seen.value_or(UINT64_MAX), options.deadline(), &history);
        if (status == android::OK) {
            PrintNews(context, options, history, &seen, &watch);
        } else if (isLast || status == android::WOULD_BLOCK) {
            // It has been watched for long enough; or others are having dumps made just now.
        } else if (status == android::DEAD_OBJECT) {
            context.err << kGone;
            context.status = kRefused;
            return;
        } else {
            return Complain(context, "asking for the history", status);
        }
        SleepFor(watch.nextLookNs() - MonotonicNow());  // not at all, when it has ended
    }
}

// --- Reports of a game's frame rate ---

/** Hands each report to the waiting main thread, which alone prints. */
class GameReports : public KVTListener {
  public:
    /** Those that one who holds the terminal finds when it lets go. */
    static constexpr size_t kMost = 1000;

    struct Arrived {
        std::deque<int32_t> reports;
        /** Older ones, for which there was no room. */
        uint64_t missed = 0;
    };

    void NotifyGameFpsToAps(int32_t fps) override {
        MutexLock lock(mMutex);
        if (mArrived.reports.size() == kMost) {
            mArrived.reports.pop_front();
            ++mArrived.missed;
        }
        mArrived.reports.push_back(fps);
        mArrival.signal();
    }

    /** @return what has arrived by the deadline, at once when something has */
    Arrived waitUntil(int64_t deadlineNs) {
        MutexLock lock(mMutex);
        if (mArrived.reports.empty() && !mArrival.waitUntil(mMutex, deadlineNs)) {
            return {};
        }
        mArrival.clear();
        return std::exchange(mArrived, {});
    }

  private:
    Mutex mMutex;
    Condition mArrival;
    Arrived mArrived GUARDED_BY(mMutex);
};

/** Notices that the service is gone; a watcher would wait for ever. */
class ServiceDeath : public IBinder::DeathRecipient {
  public:
    void binderDied(const android::wp<IBinder>&) override { dead = true; }
    std::atomic<bool> dead{false};
};

/** Has the service report to `reports`. @return whether it does; says so if not */
bool Register(Context& context, Deadline deadline, const sp<IBinder>& service,
              const sp<GameReports>& reports) {
    const auto taken = std::make_shared<bool>(false);
    const status_t status =
        CallInTime(deadline, [service, reports, taken, takeFailure = context.process.takeFailure] {
            // Registering waits for nobody, and a service that stands still never reports.
            *taken = service->pingBinder() == android::OK &&
                     KVTManager::RegisterListener(reports) == 0 && !takeFailure();
        });
    if (status != android::OK) {
        Complain(context, "registering a listener", status);
    } else if (!*taken) {
        context.err << "kvtctl: the service did not take the listener\n";
        context.status = kRefused;
    }
    return context.status == kDone;
}

void WatchGame(Context& context, const WatchOptions& options) {
    const Deadline deadline = options.deadline();
    const sp<IBinder> service = FindService(context, deadline);
    if (service == nullptr) {
        return;
    }
    const sp<ServiceDeath> death = new ServiceDeath;
    service->linkToDeath(death);
    context.process.startThreadPool();
    const sp<GameReports> reports = new GameReports;
    if (!Register(context, deadline, service, reports)) {
        return;
    }
    Print(context.err, {context.process.terminal().columns, false},
          {{"kvtctl: nothing is reported in a game's first 121 s; then the highest rate so far, "
            "then every change, at least 60",
            Line::kPlain, 8}});
    Watch watch(context, options);
    int64_t nextPingNs = MonotonicNow();
    while (watch.goesOn()) {
        if (MonotonicNow() >= nextPingNs) {  // one that stands still says nothing, nor dies
            const status_t status =
                CallInTime(options.deadline(), [service] { service->pingBinder(); });
            if (status != android::OK) {
                return Complain(context, "asking whether the service is there", status);
            }
            nextPingNs = MonotonicNow() + kNsPerS;
        }
        if (death->dead) {
            context.err << kGone;
            context.status = kRefused;
            return;
        }
        const GameReports::Arrived arrived = reports->waitUntil(watch.nextLookNs());
        if (arrived.missed > 0) {
            context.err << "kvtctl: " << arrived.missed << " reports were missed\n";
        }
        for (const int32_t fps : arrived.reports) {
            if (!watch.takeLine()) {
                return;
            }
            context.out << (options.json ? "{\"fps\":" : "") << fps << (options.json ? "}" : "")
                        << std::endl;
        }
    }
}

}  // namespace

void AddWatchCommand(CLI::App& app, Context& context) {
    const auto options = std::make_shared<WatchOptions>();
    CLI::App* const watch = app.add_subcommand(
        "watch",
        "prints each change of the panel's rate, or of what holds it, as it happens; with --fps "
        "each game frame rate that the service reports");
    AddAnswerOptions(watch, options.get());
    watch->add_flag(
        "--fps", options->fps,
        "game frame rates alone: none in a game's first 121 s, then the highest so far, "
        "then every change, at least 60");
    watch->add_option("--count", options->count, "end after so many")->check(CLI::PositiveNumber);
    watch->add_option("--for", options->seconds, "end after so many seconds")
        ->check(CLI::Range(1, 86400));
    watch->callback([&context, options] {
        options->fps ? WatchGame(context, *options) : WatchPanel(context, *options);
    });
}

}  // namespace KVT::ctl

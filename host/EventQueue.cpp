// SPDX-License-Identifier: Apache-2.0
#include "host/EventQueue.h"

#include <algorithm>
#include <cinttypes>
#include <iterator>
#include <utility>

#include "common/Dumper.h"
#include "common/Log.h"
#include "common/Turn.h"
#include "service/Transactions.h"
#include "sync/Clock.h"

namespace KVT {
namespace {

using android::status_t;

constexpr int64_t kReportEveryNs = 60 * kNsPerS;

/** Whether it says how something is, whatever was before. Of flags, other values change nothing. */
bool IsState(const EventRunner::Event& event) {
    switch (event.code) {
        case POWER_MODE:
        case LCD_SETTING:
        case GAME_FPS_LIMIT:
        case PACKAGES:
            return true;
        case TOUCH_POINTER:
        case NOTIFY_DISPLAY_HOTPLUG:
            return event.value == 0 || event.value == 1;
        case FINGERPRINT:
            return event.value >= 0 && event.value <= 2 && !event.package.empty();
        default:
            return false;
    }
}

/** Whether nobody says it again: one display more or less is counted for good, and states stay. */
bool Lasts(const EventRunner::Event& event) {
    return IsState(event) || event.code == NOTIFY_VIRTUAL_DISPLAY;
}

/** One virtual display more, and one less. */
bool Cancel(const EventRunner::Event& one, const EventRunner::Event& other) {
    return one.code == NOTIFY_VIRTUAL_DISPLAY && other.code == NOTIFY_VIRTUAL_DISPLAY &&
           ((one.value == 0 && other.value == 1) || (one.value == 1 && other.value == 0));
}

bool Replaces(const EventRunner::Event& later, const EventRunner::Event& earlier) {
    return later.code == earlier.code && later.package == earlier.package && IsState(later);
}

/** Whether what `later` leaves behind may be another without `earlier`. */
bool DependsOn(const EventRunner::Event& later, const EventRunner::Event& earlier) {
    if (later.code == 0) {
        return true;  // no transaction's: only who queued it knows what it does
    }
    switch (earlier.code) {
        case GAME_FPS_LIMIT:
            return false;
        case FINGERPRINT:
            // An unlock keeps all others from deciding; its end decides, its beginning may not.
            return Replaces(later, earlier) ? earlier.value == 0 && later.value != 0
                                            : later.code != GAME_FPS_LIMIT;
        case PACKAGES:
            // A game that comes ends the limit; composition counts for the package in front.
            if (later.code == GAME_FPS_LIMIT || later.code == NOTIFY_GPU_COMPOSITION) {
                return true;
            }
            break;
        case LCD_SETTING:
            if (later.code == PACKAGES) {
                return true;  // the rates of all that is visible are compared
            }
            break;
        default:
            break;
    }
    // A touch counts only while its strategy is armed, an unlock only when nothing else holds the
    // rate.
    return later.code == SET_LCD_EVENT || later.code == FINGERPRINT;
}

}  // namespace

class EventQueue::Worker : public BaseThread {
  public:
    explicit Worker(EventQueue* queue) : mQueue(queue) {}
    ~Worker() override {
        Stop([] {});
    }

  private:
    bool threadLoop() override {
        while (!exitPending()) {
            mQueue->actOnNext();
        }
        return false;
    }

    EventQueue* const mQueue;
};

EventQueue::EventQueue() : mWorker(new Worker(this)) {}

EventQueue::~EventQueue() {
    mWorker->Stop([this] {
        MutexLock lock(mMutex);
        mArrived.close();
    });
}

status_t EventQueue::start() {
    return mWorker->run("KVT::EventQueue");
}

status_t EventQueue::run(Event event, bool callerWaits) {
    callerWaits = callerWaits && !Turn::IsUnderWay();
    {
        MutexLock lock(mMutex);
        if (add(std::move(event))) {
            if (callerWaits && mCallersWaiting < kMostCallersWaiting) {
                Condition acted;
                mQueue.back().acted.push_back(&acted);
                ++mCallersWaiting;
                acted.wait(mMutex);
                --mCallersWaiting;
            }
            return android::OK;
        }
    }
    reportDropped();
    return android::WOULD_BLOCK;
}

bool EventQueue::add(Event event) {
    const size_t most = Lasts(event) ? kMostQueued : kMostQueued - kKeptForLasting;
    mQueue.push_back({std::move(event), {}});
    if (mQueue.size() > kOrdinary) {
        mergeStates();
    }
    if (mQueue.size() > kMostQueued / 2) {
        cancelDisplays();
    }
    if (mQueue.size() > most && !replaceAnyway()) {
        mQueue.pop_back();
        ++mDropped;
        return false;
    }
    mMostQueued = std::max(mMostQueued, mQueue.size());
    mArrived.signal();
    return true;
}

/** Takes out each state that another one follows before anything depends on it. */
void EventQueue::mergeStates() {
    // From the last to the first: what is taken out is nothing that those before it matter to.
    for (auto earlier = mQueue.end(); earlier != mQueue.begin();) {
        --earlier;
        const auto next =
            std::find_if(std::next(earlier), mQueue.end(), [earlier](const Entry& later) {
                return Replaces(later.event, earlier->event) ||
                       DependsOn(later.event, earlier->event);
            });
        if (next != mQueue.end() && !DependsOn(next->event, earlier->event)) {
            earlier = replace(earlier, *next);
        }
    }
}

/** For a full queue: the last state counts more than what came between it and the one before. */
bool EventQueue::replaceAnyway() {
    Entry& newest = mQueue.back();
    const auto earlier =
        std::find_if(std::next(mQueue.rbegin()), mQueue.rend(),
                     [&newest](const Entry& entry) { return Replaces(newest.event, entry.event); });
    if (earlier == mQueue.rend()) {
        return false;
    }
    replace(std::prev(earlier.base()), newest);
    return true;
}

/** For a queue half full: without the newest event and its opposite as many displays are there. */
void EventQueue::cancelDisplays() {
    const Event& newest = mQueue.back().event;
    const auto opposite = std::find_if(mQueue.begin(), mQueue.end(), [&newest](const Entry& entry) {
        return Cancel(newest, entry.event);
    });
    if (opposite == mQueue.end()) {
        return;
    }
    replace(opposite, mQueue.back());
    const std::vector<Condition*> acted = std::move(mQueue.back().acted);
    mQueue.pop_back();
    // Whoever waits for these two waits for all that was sent before.
    std::vector<Condition*>& all = mQueue.back().acted;
    all.insert(all.end(), acted.begin(), acted.end());
}

EventQueue::Entries::iterator EventQueue::replace(const Entries::iterator& earlier, Entry& later) {
    later.acted.insert(later.acted.end(), earlier->acted.begin(), earlier->acted.end());
    ++mMerged;
    return mQueue.erase(earlier);
}

void EventQueue::reportDropped() {
    uint64_t dropped = 0;
    {
        MutexLock lock(mMutex);
        const int64_t now = MonotonicNow();
        if (now < mNextReportNs) {
            return;
        }
        mNextReportNs = now + kReportEveryNs;
        dropped = mDropped;
    }
    KVT_LOGE("events dropped: %" PRIu64 " so far, they come faster than they can be acted on",
             dropped);
}

void EventQueue::actOnNext() {
    Entry next;
    {
        MutexLock lock(mMutex);
        while (mQueue.empty() && !mWorker->IsStopping()) {
            mArrived.wait(mMutex);
        }
        if (mWorker->IsStopping()) {
            return;
        }
        next = std::move(mQueue.front());
        mQueue.pop_front();
    }
    Turn::Take(next.event.act);
    MutexLock lock(mMutex);
    for (Condition* const acted : next.acted) {
        acted->signal();
    }
}

void EventQueue::dump(Dumper* dumper) {
    MutexLock lock(mMutex);
    dumper->section("events");
    dumper->value("queued", uint64_t{mQueue.size()});
    dumper->value("most_queued", uint64_t{mMostQueued});
    dumper->value("merged", mMerged);
    dumper->value("dropped", mDropped);
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "service/EventRunner.h"
#include "strategy/BaseThread.h"
#include "sync/Condition.h"
#include "sync/Mutex.h"

namespace KVT {

class Dumper;

/**
 * Acts on the service's events one after the other, on a thread of its own. While one of them waits
 * for a peer or for the panel, the threads of the binder pool go on with frames, queries and dumps.
 *
 * Events are acted on as they were sent, until they come faster than that. Then one that states
 * something (a power mode, a package) takes the place of the one before it about the same, unless
 * something between them would have another effect without that one. What counts is not merged:
 * touches, virtual displays, GPU composition; but in a queue that is half full a display that
 * comes and one that goes cancel. A package that comes and goes in such a time was never in front.
 */
class EventQueue : public EventRunner {
  public:
    /** So many are acted on as sent, whatever they are: about a second of a slow panel's changes. */
    static constexpr size_t kOrdinary = 8;
    static constexpr size_t kMostQueued = 64;
    /** Room that touches and GPU composition leave for what nobody says again when it is lost. */
    static constexpr size_t kKeptForLasting = 16;
    /**
     * Callers that wait for their event at one time; others are answered at once. Of the pool's 17
     * threads that leaves nine: four may serve dumps, and calls that wait for a lock take some.
     */
    static constexpr size_t kMostCallersWaiting = 8;

    EventQueue();
    /** Drops what is still queued. Nobody may wait for it, and no service use it, any more. */
    ~EventQueue() override;
    EventQueue(const EventQueue&) = delete;
    EventQueue& operator=(const EventQueue&) = delete;

    /** Starts the thread; once, after the policy. What came before is acted on now. */
    android::status_t start();

    /**
     * Queues an event. A caller who waits is kept until it was acted on, unless it is in the middle
     * of a Turn, which the event may have to wait for, or too many wait already.
     */
    android::status_t run(Event event, bool callerWaits) override EXCLUDES(mMutex);

    /** The section "events". */
    void dump(Dumper* dumper) EXCLUDES(mMutex);

  private:
    class Worker;

    struct Entry {
        Event event;
        /** Of callers who wait for it, or for one that it has replaced. */
        std::vector<Condition*> acted;
    };
    using Entries = std::deque<Entry>;

    bool add(Event event) REQUIRES(mMutex);
    void mergeStates() REQUIRES(mMutex);
    bool replaceAnyway() REQUIRES(mMutex);
    void cancelDisplays() REQUIRES(mMutex);
    Entries::iterator replace(const Entries::iterator& earlier, Entry& later) REQUIRES(mMutex);
    void reportDropped() EXCLUDES(mMutex);
    void actOnNext() EXCLUDES(mMutex);

    const android::sp<BaseThread> mWorker;

    /** A leaf: nothing is called with it held. */
    Mutex mMutex;
    Condition mArrived;
    Entries mQueue GUARDED_BY(mMutex);
    size_t mCallersWaiting GUARDED_BY(mMutex) = 0;
    size_t mMostQueued GUARDED_BY(mMutex) = 0;
    uint64_t mMerged GUARDED_BY(mMutex) = 0;
    uint64_t mDropped GUARDED_BY(mMutex) = 0;
    int64_t mNextReportNs GUARDED_BY(mMutex) = 0;
};

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "sync/Mutex.h"

namespace KVT {

/**
 * An event that wakes one waiter.
 *
 * Unlike a bare condition variable it remembers: a signal that finds nobody waiting stays pending
 * until a wait consumes it or clear() drops it, so no wake-up is lost between two waits. Several
 * signals before a wait count as one. Waits end only for an event or a deadline, never spuriously.
 *
 * Every operation is called with the owner's mutex held, always the same one; the waits release it
 * meanwhile. Deadlines are on the clock of MonotonicNow().
 */
class Condition {
  public:
    Condition();
    ~Condition();
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    /** Marks the event as pending and wakes the waiter, if there is one. */
    void signal();

    /** Drops a pending event that no longer means anything. */
    void clear() { mPending = mClosed; }

    /** The owner is going away: ends every wait, now and from now on; the event stays pending. */
    void close() {
        mClosed = true;
        signal();
    }

    /** Consumes the event, waiting for it as long as it takes. */
    void wait(Mutex& mutex) REQUIRES(mutex);

    /**
     * Consumes the event, waiting for it until the deadline at most.
     *
     * @param deadlineNs absolute, nanoseconds; one in the past only looks for a pending event
     * @return true when the event was consumed (also when it arrived together with the deadline),
     *         false when the deadline passed without it
     */
    [[nodiscard]] bool waitUntil(Mutex& mutex, int64_t deadlineNs) REQUIRES(mutex);

  private:
    pthread_cond_t mNative;
    bool mPending = false;
    bool mClosed = false;
};

}  // namespace KVT

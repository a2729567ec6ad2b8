// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/Ring.h"
#include "display/Cause.h"
#include "sync/Mutex.h"

namespace KVT {

/** A rate that was asked for, and what the panel did; or a cause that left it as it was. */
struct RateEntry {
    /** Counts entries from 1. */
    uint64_t number = 0;
    /** When it was asked for, nanoseconds of the boot-time clock: a phone may sleep between two. */
    int64_t time = 0;
    /** Until the panel showed it, or was given up on. */
    int64_t tookNs = 0;
    /** Hz; kNothingAsked for a cause that asks for none. */
    int32_t askedHz = 0;
    /** What the panel was last seen at, Hz, before and after; kNotRead when it could not be read. */
    int32_t fromHz = kNotRead;
    int32_t shownHz = kNotRead;
    /** Whether the panel took what was asked for last, be it here or before. */
    bool followed = true;
    Cause cause;
    /** What was in front. */
    std::string pkg;

    static constexpr int32_t kNothingAsked = 0;
    static constexpr int32_t kNotRead = -1;
};

/** Hears of each new entry. */
class RateListener {
  public:
    /** In the middle of a change, with locks of display and policy held: must only take note. */
    virtual void onRateEntry(const RateEntry& entry) = 0;

  protected:
    ~RateListener() = default;
};

/**
 * What was asked of the panel, by what cause, and what became of it: the last kCapacity times that
 * anything about it was new. What repeats the entry before it adds none, and allocates nothing.
 * Entries are in the order in which they ended; one that was asked for earlier may follow.
 * Any thread; leaf lock.
 */
class RateJournal {
  public:
    static constexpr size_t kCapacity = 512;

    /** From now on `listener`, which lives to the end, hears of each entry. At start-up. */
    void setListener(RateListener* listener) { mListener = listener; }

    /** What is in front from now on. */
    void onPackage(const std::string& pkg) EXCLUDES(mMutex);
    /** What the panel shows without having been asked; kNotRead, too. */
    void onSeen(int32_t hz) EXCLUDES(mMutex);
    /** Just now, `tookNs` after it was asked for. */
    void onAsked(const Cause& cause, int32_t askedHz, int32_t shownHz, int64_t tookNs)
        EXCLUDES(mMutex);
    /** A cause for which the panel stays as it is. */
    void onCause(const Cause& cause) EXCLUDES(mMutex);
    /** The cause stays as well, if for another package. */
    void onCauseKept() EXCLUDES(mMutex);

    /** Those after the entry numbered `after`, oldest first. */
    std::vector<RateEntry> since(uint64_t after) const EXCLUDES(mMutex);
    /** The last one. Before the first: number 0, and what the panel was seen at. */
    RateEntry last() const EXCLUDES(mMutex);
    /**
     * Since when, by the boot-time clock, the last cause holds the rate, whatever was in front; of a
     * code, its package.
     */
    int64_t heldSince() const EXCLUDES(mMutex);

  private:
    void add(RateEntry entry, bool keepsCause) EXCLUDES(mMutex);

    // Set once, at start-up.
    RateListener* mListener = nullptr;

    mutable Mutex mMutex;
    std::string mPackage GUARDED_BY(mMutex);
    int32_t mShownHz GUARDED_BY(mMutex) = RateEntry::kNotRead;
    Ring<RateEntry, kCapacity> mRing GUARDED_BY(mMutex);
};

}  // namespace KVT

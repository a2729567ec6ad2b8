// SPDX-License-Identifier: Apache-2.0
#include "display/RateJournal.h"

#include <utility>

#include "sync/Clock.h"

namespace KVT {

void RateJournal::onPackage(const std::string& pkg) {
    MutexLock lock(mMutex);
    mPackage.assign(pkg);
}

void RateJournal::onSeen(int32_t hz) {
    MutexLock lock(mMutex);
    mShownHz = hz;
}

void RateJournal::onAsked(const Cause& cause, int32_t askedHz, int32_t shownHz, int64_t tookNs) {
    RateEntry entry;
    entry.time = BootTimeNow() - tookNs;
    entry.tookNs = tookNs;
    entry.cause = cause;
    entry.askedHz = askedHz;
    entry.shownHz = shownHz;
    entry.followed = shownHz == askedHz;
    add(std::move(entry), false);
}

void RateJournal::onCause(const Cause& cause) {
    RateEntry entry;
    entry.time = BootTimeNow();
    entry.cause = cause;
    add(std::move(entry), false);
}

void RateJournal::onCauseKept() {
    RateEntry entry;
    entry.time = BootTimeNow();
    add(std::move(entry), true);
}

void RateJournal::add(RateEntry entry, bool keepsCause) {
    {
        MutexLock lock(mMutex);
        const RateEntry& before = mRing.last();
        entry.fromHz = mShownHz;
        if (entry.askedHz == RateEntry::kNothingAsked) {
            entry.shownHz = mShownHz;
            entry.followed = before.followed;
        }
        if (keepsCause) {
            entry.cause = before.cause;
        }
        mShownHz = entry.shownHz;
        const bool isNew = before.number == 0 || entry.fromHz != entry.shownHz ||
                           !(before.cause == entry.cause) || before.pkg != mPackage ||
                           before.followed != entry.followed ||
                           (before.askedHz != entry.askedHz && !keepsCause);
        if (!isNew) {
            return;
        }
        entry.pkg = mPackage;
        RateEntry& kept = mRing.next();
        entry.number = mRing.count();
        kept = entry;
        if (mListener == nullptr) {
            return;
        }
    }
    mListener->onRateEntry(entry);
}

std::vector<RateEntry> RateJournal::since(uint64_t after) const {
    MutexLock lock(mMutex);
    return mRing.since(after);
}

RateEntry RateJournal::last() const {
    MutexLock lock(mMutex);
    RateEntry last = mRing.last();
    if (last.number == 0) {
        last.shownHz = mShownHz;
    }
    return last;
}

int64_t RateJournal::heldSince() const {
    MutexLock lock(mMutex);
    const RateEntry& last = mRing.last();
    if (last.number == 0) {
        return BootTimeNow();
    }
    int64_t since = last.time;
    for (uint64_t number = last.number - 1; mRing.holds(number); --number) {
        const RateEntry& before = mRing.at(number);
        if (!(before.cause == last.cause) || before.shownHz != last.shownHz ||
            (last.cause.code >= 0 && before.pkg != last.pkg)) {
            break;
        }
        since = before.time;
    }
    return since;
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "display/RateJournal.h"

#include <algorithm>
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

void RateJournal::onAsked(const Cause& cause, int32_t askedHz, int32_t shownHz, int64_t sinceNs) {
    RateEntry entry;
    entry.time = sinceNs;
    entry.cause = cause;
    entry.askedHz = askedHz;
    entry.shownHz = shownHz;
    entry.followed = shownHz == askedHz;
    add(std::move(entry), false);
}

void RateJournal::onCause(const Cause& cause) {
    RateEntry entry;
    entry.time = MonotonicNow();
    entry.cause = cause;
    add(std::move(entry), false);
}

void RateJournal::onCauseKept() {
    RateEntry entry;
    entry.time = MonotonicNow();
    add(std::move(entry), true);
}

void RateJournal::add(RateEntry entry, bool keepsCause) {
    {
        MutexLock lock(mMutex);
        entry.fromHz = mShownHz;
        const RateEntry& before = mRing[(mCount + kCapacity - 1) % kCapacity];
        if (entry.askedHz == RateEntry::kNothingAsked) {
            entry.shownHz = mShownHz;
            entry.followed = before.followed;
        }
        if (keepsCause) {
            entry.cause = before.cause;
        }
        mShownHz = entry.shownHz;
        const bool isNew = mCount == 0 || entry.fromHz != entry.shownHz ||
                           !(before.cause == entry.cause) || before.pkg != mPackage ||
                           before.followed != entry.followed ||
                           (before.askedHz != entry.askedHz && !keepsCause);
        if (!isNew) {
            return;
        }
        entry.number = mCount + 1;
        entry.tookNs = MonotonicNow() - entry.time;
        RateEntry& kept = mRing[mCount++ % kCapacity];
        entry.pkg = mPackage;
        kept = entry;
        if (mListener == nullptr) {
            return;
        }
    }
    mListener->onRateEntry(entry);
}

std::vector<RateEntry> RateJournal::since(uint64_t after) const {
    MutexLock lock(mMutex);
    const uint64_t oldest = mCount > kCapacity ? mCount - kCapacity : 0;
    std::vector<RateEntry> entries;
    for (uint64_t i = std::max(oldest, after); i < mCount; ++i) {
        entries.push_back(mRing[i % kCapacity]);
    }
    return entries;
}

RateEntry RateJournal::last() const {
    MutexLock lock(mMutex);
    if (mCount > 0) {
        return mRing[(mCount - 1) % kCapacity];
    }
    RateEntry none;
    none.shownHz = mShownHz;
    return none;
}

int64_t RateJournal::heldSince() const {
    MutexLock lock(mMutex);
    if (mCount == 0) {
        return MonotonicNow();
    }
    const auto at = [this](uint64_t number) REQUIRES(mMutex) -> const RateEntry& {
        return mRing[(number - 1) % kCapacity];
    };
    const RateEntry& last = at(mCount);
    int64_t since = last.time;
    for (uint64_t number = mCount - 1; number > 0 && mCount - number < kCapacity; --number) {
        const RateEntry& before = at(number);
        if (!(before.cause == last.cause) || before.shownHz != last.shownHz ||
            (last.cause.code >= 0 && before.pkg != last.pkg)) {
            break;
        }
        since = before.time;
    }
    return since;
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "display/RateJournal.h"

#include <algorithm>

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
    note(cause, askedHz, shownHz, sinceNs);
}

void RateJournal::onCause(const Cause& cause) {
    note(cause, RateEntry::kNothingAsked, 0, MonotonicNow());
}

void RateJournal::note(const Cause& cause, int32_t askedHz, int32_t shownHz, int64_t sinceNs) {
    RateEntry added;
    {
        MutexLock lock(mMutex);
        const int32_t fromHz = mShownHz;
        mShownHz = shownHz > 0 ? shownHz : fromHz;
        const RateEntry& before = mRing[(mCount + kCapacity - 1) % kCapacity];
        if (mCount > 0 && before.cause == cause && before.askedHz == askedHz &&
            before.shownHz == mShownHz && before.pkg == mPackage) {
            return;
        }
        RateEntry& entry = mRing[mCount % kCapacity];
        entry.number = ++mCount;
        entry.time = sinceNs;
        entry.tookNs = MonotonicNow() - sinceNs;
        entry.askedHz = askedHz;
        entry.fromHz = fromHz;
        entry.shownHz = mShownHz;
        entry.cause = cause;
        entry.pkg.assign(mPackage);
        if (mListener == nullptr) {
            return;
        }
        added = entry;
    }
    mListener->onRateEntry(added);
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
    return mCount == 0 ? RateEntry{} : mRing[(mCount - 1) % kCapacity];
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "display/RateStats.h"

#include "common/Dumper.h"
#include "sync/Clock.h"

namespace KVT {

void RateStats::accountUntilNow() {
    const int64_t now = MonotonicNow();
    const int32_t hz = mTotals.confirmedHz;
    if (hz != 0) {
        mTotals.nsAtRate[hz] += now - mSince;
        auto& packages = mTotals.nsAtRateByPackage;
        const bool known = packages.size() < kMostPackages || packages.count(mPackage) != 0;
        packages[known ? mPackage : kOtherPackages][hz] += now - mSince;
    }
    mSince = now;
}

void RateStats::onRequested(int32_t hz) {
    MutexLock lock(mMutex);
    mTotals.requestedHz = hz;
}

void RateStats::onConfirmed(int32_t hz) {
    MutexLock lock(mMutex);
    accountUntilNow();
    if (hz != mTotals.confirmedHz) {
        ++mTotals.switches;
    }
    mTotals.confirmedHz = hz;
}

void RateStats::onFailed() {
    MutexLock lock(mMutex);
    ++mTotals.failures;
}

void RateStats::onPackage(const std::string& pkg) {
    MutexLock lock(mMutex);
    accountUntilNow();
    mPackage = pkg;
}

RateStats::Totals RateStats::totals() {
    MutexLock lock(mMutex);
    accountUntilNow();
    return mTotals;
}

void RateStats::dump(Dumper* dumper) {
    const Totals now = totals();
    dumper->section("seconds_at_rate");
    for (const auto& [hz, ns] : now.nsAtRate) {
        dumper->seconds(std::to_string(hz), ns);
    }
}

void RateStats::dumpByPackage(Dumper* dumper) {
    const Totals now = totals();
    dumper->section("seconds_at_rate_by_package");
    for (const auto& [pkg, times] : now.nsAtRateByPackage) {
        for (const auto& [hz, ns] : times) {
            dumper->seconds(pkg + "@" + std::to_string(hz), ns);
        }
    }
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "sync/Mutex.h"

namespace KVT {

class Dumper;

/** What became of the rates that were asked for, for dumps and reports. Any thread; leaf lock. */
class RateStats {
  public:
    struct Totals {
        int32_t requestedHz = 0;
        int32_t confirmedHz = 0;  // 0 before the first change
        uint64_t switches = 0;    // confirmed changes to another rate
        uint64_t failures = 0;    // changes that the panel did not follow
        std::map<int32_t, int64_t> nsAtRate;
        std::map<std::string, std::map<int32_t, int64_t>> nsAtRateByPackage;
    };

    /** Packages that are told apart; time of all further ones is summed under kOtherPackages. */
    static constexpr size_t kMostPackages = 128;
    static constexpr const char* kOtherPackages = "(others)";

    void onRequested(int32_t hz) EXCLUDES(mMutex);
    void onConfirmed(int32_t hz) EXCLUDES(mMutex);
    void onFailed() EXCLUDES(mMutex);
    void onPackage(const std::string& pkg) EXCLUDES(mMutex);

    /** Everything up to now. */
    Totals totals() EXCLUDES(mMutex);
    /** The section "seconds_at_rate". */
    void dump(Dumper* dumper) EXCLUDES(mMutex);
    /** The section "seconds_at_rate_by_package": long, so it comes last in a dump of limited size. */
    void dumpByPackage(Dumper* dumper) EXCLUDES(mMutex);

  private:
    void accountUntilNow() REQUIRES(mMutex);

    Mutex mMutex;
    Totals mTotals GUARDED_BY(mMutex);
    std::string mPackage GUARDED_BY(mMutex);
    int64_t mSince GUARDED_BY(mMutex) = 0;
};

}  // namespace KVT

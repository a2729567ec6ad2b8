// SPDX-License-Identifier: Apache-2.0
#include "host/QueryQuota.h"

#include "host/Limits.h"
#include "sync/Clock.h"

namespace KVT {

bool QueryQuota::take(uid_t uid) {
    constexpr int64_t kMinute = 60 * kNsPerS;
    MutexLock lock(mMutex);
    if (const int64_t now = MonotonicNow(); now >= mNextMinute) {
        mAsked.clear();
        mNextMinute = now + kMinute;
    }
    if (mAsked.size() >= kMostAskingUids && mAsked.count(uid) == 0) {
        return false;
    }
    return ++mAsked[uid] <= kMostQueriesAMinute;
}

}  // namespace KVT

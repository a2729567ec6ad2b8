// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <map>

#include "sync/Mutex.h"

namespace KVT {

/**
 * How often each uid has asked in the running minute. A query leaves a line in the log, which must
 * not be anyone's to fill. Any thread; leaf lock.
 */
class QueryQuota {
  public:
    /** @return false for who has asked kMostQueriesAMinute times, or beyond kMostAskingUids */
    bool take(uid_t uid) EXCLUDES(mMutex);

  private:
    Mutex mMutex;
    std::map<uid_t, size_t> mAsked GUARDED_BY(mMutex);
    int64_t mNextMinute GUARDED_BY(mMutex) = 0;  // ns of the monotonic clock
};

}  // namespace KVT

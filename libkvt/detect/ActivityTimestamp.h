// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "sync/Mutex.h"

namespace KVT {

/** When something was last drawn, in nanoseconds of the monotonic clock; 0 is never. Any thread. */
class ActivityTimestamp {
  public:
    void UpdateTimestamp(int64_t timestamp) EXCLUDES(mMutex);

  protected:
    ActivityTimestamp() = default;
    ~ActivityTimestamp() = default;

    /** Whether less than `ns` nanoseconds have passed; a stamp from the future counts as now. */
    bool IsYoungerThan(int64_t ns) const EXCLUDES(mMutex);

  private:
    mutable Mutex mMutex;
    int64_t mTimestamp GUARDED_BY(mMutex) = 0;
};

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "detect/ActivityTimestamp.h"

#include "sync/Clock.h"

namespace KVT {

void ActivityTimestamp::UpdateTimestamp(int64_t timestamp) {
    MutexLock lock(mMutex);
    mTimestamp = timestamp;
}

bool ActivityTimestamp::IsYoungerThan(int64_t ns) const {
    uint64_t age = 0;
    {
        MutexLock lock(mMutex);
        // Unsigned: the time stamp comes from another process and may be anything.
        age = static_cast<uint64_t>(MonotonicNow()) - static_cast<uint64_t>(mTimestamp);
    }
    return static_cast<int64_t>(age) < ns;
}

}  // namespace KVT

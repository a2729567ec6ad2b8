// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>

#include "common/Dumper.h"
#include "sync/Mutex.h"

namespace KVT {

/**
 * Who was refused, and how often: kMostRefusedUids callers each for itself, the others together.
 * Any thread; leaf lock.
 */
class Refusals {
  public:
    /** Counts one and logs it, no more than one line a minute for each that is counted. */
    void add(uid_t uid, uint32_t code, const char* reason) EXCLUDES(mMutex);

    /** The section "refused", with a line for each caller. */
    void dump(Dumper* dumper) EXCLUDES(mMutex);

  private:
    struct Count {
        uint64_t refused = 0;
        int64_t nextLine = 0;  // ns of the monotonic clock
    };

    Mutex mMutex;
    std::map<uid_t, Count> mByUid GUARDED_BY(mMutex);
    Count mOthers GUARDED_BY(mMutex);
};

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/RefBase.h>

#include <cstdint>
#include <string>
#include <vector>

#include "sync/Clock.h"
#include "sync/Mutex.h"

namespace KVT::sim {

/** What the simulated phone was told and did, in order. Shared by all that write to it. */
class Journal : public android::RefBase {
  public:
    struct Entry {
        int64_t time;
        std::string text;
    };

    void add(std::string text) EXCLUDES(mMutex) {
        MutexLock lock(mMutex);
        mEntries.push_back({MonotonicNow(), std::move(text)});
    }

    std::vector<Entry> take() EXCLUDES(mMutex) {
        MutexLock lock(mMutex);
        std::vector<Entry> entries;
        entries.swap(mEntries);
        return entries;
    }

  private:
    Mutex mMutex;
    std::vector<Entry> mEntries GUARDED_BY(mMutex);
};

}  // namespace KVT::sim

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/Ring.h"
#include "policy/Decision.h"
#include "sync/Mutex.h"

namespace KVT {

class Dumper;

/** One decision run, as the dump and the simulator show it. */
struct DecisionRecord {
    /** Counts decision runs from 1. */
    uint64_t number = 0;
    /** Nanoseconds of the boot-time clock. */
    int64_t time = 0;
    std::string pkg;
    Decision decision{};
};

/** Remembers the last decisions. Any thread; its lock is a leaf. */
class DecisionLog {
  public:
    static constexpr size_t kCapacity = 32;

    void add(const std::string& pkg, const Decision& decision) EXCLUDES(mMutex);

    /** Those after the decision numbered `after`, oldest first; the last kCapacity are kept. */
    std::vector<DecisionRecord> since(uint64_t after) const EXCLUDES(mMutex);
    /** The section "decisions". */
    void dump(Dumper* dumper) const EXCLUDES(mMutex);

  private:
    mutable Mutex mMutex;
    Ring<DecisionRecord, kCapacity> mRing GUARDED_BY(mMutex);
};

}  // namespace KVT

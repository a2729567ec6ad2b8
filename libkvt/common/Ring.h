// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace KVT {

/** The last kCapacity records, which are numbered from 1. Their room is used again. */
template <typename Record, size_t kCapacity>
class Ring {
  public:
    /** The next record, to be written over; its `number` is set. */
    Record& next() {
        Record& record = mRecords[mCount % kCapacity];
        record.number = ++mCount;
        return record;
    }

    uint64_t count() const { return mCount; }
    /** A default one, numbered 0, before the first. */
    const Record& last() const { return mRecords[(mCount + kCapacity - 1) % kCapacity]; }
    /** One of the last kCapacity. */
    const Record& at(uint64_t number) const { return mRecords[(number - 1) % kCapacity]; }
    bool holds(uint64_t number) const {
        return number > 0 && number <= mCount && mCount - number < kCapacity;
    }

    /** Those after the one numbered `after`, be there one or not, oldest first. */
    std::vector<Record> since(uint64_t after) const {
        const uint64_t gone = mCount > kCapacity ? mCount - kCapacity : 0;
        std::vector<Record> records;
        for (uint64_t last = std::max(gone, after); last < mCount; ++last) {
            records.push_back(at(last + 1));
        }
        return records;
    }

  private:
    std::array<Record, kCapacity> mRecords;
    uint64_t mCount = 0;
};

}  // namespace KVT

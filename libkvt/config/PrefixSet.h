// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace KVT {

/**
 * A set of package-name prefixes that says whether one of them begins a given name.
 *
 * The cost of that question depends on the length of the name alone: one probe of a hash table for
 * each of its beginnings that a member is as long as, the hash rolled on from one to the next. Not
 * locked; filled before it is read.
 */
class PrefixSet {
  public:
    using value_type = std::string;
    using const_iterator = std::vector<std::string>::const_iterator;

    void insert(std::string_view prefix);

    /** The shortest member that `name` begins with, or null. The empty prefix begins every name. */
    const std::string* findPrefixOf(std::string_view name) const;

    size_t size() const { return mPrefixes.size(); }
    bool empty() const { return mPrefixes.empty(); }
    size_t count(std::string_view prefix) const { return find(prefix, HashOf(prefix)) ? 1 : 0; }
    const_iterator begin() const { return mPrefixes.begin(); }
    const_iterator end() const { return mPrefixes.end(); }

  private:
    struct Slot {
        uint64_t hash = 0;
        uint32_t index = kFree;
    };
    static constexpr uint32_t kFree = UINT32_MAX;

    static uint64_t HashOf(std::string_view text);
    const std::string* find(std::string_view prefix, uint64_t hash) const;
    void place(uint64_t hash, uint32_t index);
    void grow();

    std::vector<std::string> mPrefixes;
    std::vector<Slot> mSlots;  // a power of two, at most half full
    std::vector<bool> mHasLength;
};

}  // namespace KVT

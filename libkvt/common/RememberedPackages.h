// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace KVT {

/**
 * How many packages something is remembered of: several times what is installed on a well-filled
 * phone, and some hundred kilobytes at most when somebody makes names up.
 */
inline constexpr size_t kRememberedPackages = 1024;

/**
 * What is known of packages. Beyond kRememberedPackages the one that was looked at longest ago is
 * forgotten, except those that were to be kept. Finding costs no allocation. No lock of its own.
 */
template <typename Value>
class RememberedPackages {
  public:
    RememberedPackages() = default;
    RememberedPackages(const RememberedPackages&) = delete;
    RememberedPackages& operator=(const RememberedPackages&) = delete;

    size_t size() const { return mIndex.size(); }

    std::optional<Value> find(std::string_view pkg) {
        const auto found = mIndex.find(pkg);
        if (found == mIndex.end()) {
            return std::nullopt;
        }
        if (!found->second->isKept) {
            mRecent.splice(mRecent.begin(), mRecent, found->second);
        }
        return found->second->value;
    }

    /** Remembers a value, in the place of an earlier one. */
    void put(std::string_view pkg, Value value) {
        if (const auto found = mIndex.find(pkg); found != mIndex.end()) {
            found->second->value = value;
            return;
        }
        mRecent.push_front({std::string(pkg), value, false});
        mIndex.emplace(mRecent.front().pkg, mRecent.begin());
        if (mIndex.size() > kRememberedPackages) {
            mIndex.erase(mRecent.back().pkg);
            mRecent.pop_back();
        }
    }

    /** Remembers a value, unless there is one, and never forgets it. For a few. */
    void keep(std::string_view pkg, Value value) {
        if (!find(pkg).has_value()) {
            put(pkg, value);
        }
        const Place place = mIndex.find(pkg)->second;
        if (!place->isKept) {
            place->isKept = true;
            mKept.splice(mKept.begin(), mRecent, place);
        }
    }

  private:
    struct Entry {
        const std::string pkg;
        Value value;
        bool isKept;
    };
    using Place = typename std::list<Entry>::iterator;

    /** The one looked at last comes first. */
    std::list<Entry> mRecent;
    std::list<Entry> mKept;
    /** Its keys are the names in the entries. */
    std::unordered_map<std::string_view, Place> mIndex;
};

}  // namespace KVT

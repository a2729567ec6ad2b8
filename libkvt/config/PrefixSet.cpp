// SPDX-License-Identifier: Apache-2.0
#include "config/PrefixSet.h"

namespace KVT {
namespace {

// FNV-1a: the hash of a name is that of its prefix and one more step.
constexpr uint64_t kHashOfNothing = 0xcbf29ce484222325;

constexpr uint64_t HashOn(uint64_t hash, char next) {
    return (hash ^ static_cast<uint8_t>(next)) * 0x100000001b3;
}

/** FNV's low bits are its weak ones. */
constexpr size_t SlotOf(uint64_t hash, size_t slots) {
    return (hash ^ (hash >> 32)) & (slots - 1);
}

}  // namespace

uint64_t PrefixSet::HashOf(std::string_view text) {
    uint64_t hash = kHashOfNothing;
    for (const char c : text) {
        hash = HashOn(hash, c);
    }
    return hash;
}

const std::string* PrefixSet::find(std::string_view prefix, uint64_t hash) const {
    for (size_t i = SlotOf(hash, mSlots.size()); !mSlots.empty();
         i = (i + 1) & (mSlots.size() - 1)) {
        const Slot& slot = mSlots[i];
        if (slot.index == kFree) {
            break;
        }
        if (slot.hash == hash && mPrefixes[slot.index] == prefix) {
            return &mPrefixes[slot.index];
        }
    }
    return nullptr;
}

const std::string* PrefixSet::findPrefixOf(std::string_view name) const {
    if (mSlots.empty()) {
        return nullptr;
    }
    uint64_t hash = kHashOfNothing;
    for (size_t length = 0; length < mHasLength.size(); ++length) {
        if (mHasLength[length]) {
            if (const std::string* found = find(name.substr(0, length), hash); found != nullptr) {
                return found;
            }
        }
        if (length == name.size()) {
            break;
        }
        hash = HashOn(hash, name[length]);
    }
    return nullptr;
}

void PrefixSet::insert(std::string_view prefix) {
    const uint64_t hash = HashOf(prefix);
    if (find(prefix, hash) != nullptr) {
        return;
    }
    if ((mPrefixes.size() + 1) * 2 > mSlots.size()) {
        grow();
    }
    mPrefixes.emplace_back(prefix);
    if (prefix.size() >= mHasLength.size()) {
        mHasLength.resize(prefix.size() + 1);
    }
    mHasLength[prefix.size()] = true;
    place(hash, static_cast<uint32_t>(mPrefixes.size() - 1));
}

void PrefixSet::place(uint64_t hash, uint32_t index) {
    size_t i = SlotOf(hash, mSlots.size());
    while (mSlots[i].index != kFree) {
        i = (i + 1) & (mSlots.size() - 1);
    }
    mSlots[i] = {hash, index};
}

void PrefixSet::grow() {
    constexpr size_t kFirstSlots = 16;
    std::vector<Slot> old(mSlots.empty() ? kFirstSlots : mSlots.size() * 2);
    old.swap(mSlots);
    for (const Slot& slot : old) {
        if (slot.index != kFree) {
            place(slot.hash, slot.index);
        }
    }
}

}  // namespace KVT

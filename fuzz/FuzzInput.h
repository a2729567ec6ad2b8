// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace KVT::fuzz {

/** A fuzzer's bytes, taken from the front; zeros once they are used up. */
class FuzzInput {
  public:
    FuzzInput(const uint8_t* data, size_t size) : mLeft(data, data + size) {}

    bool empty() const { return mNext == mLeft.size(); }

    std::vector<uint8_t> bytes(size_t wanted) {
        const auto begin = mLeft.begin() + static_cast<ptrdiff_t>(mNext);
        const size_t size = std::min(wanted, mLeft.size() - mNext);
        mNext += size;
        return {begin, begin + static_cast<ptrdiff_t>(size)};
    }

    template <typename T>
    T take() {
        T value{};
        const std::vector<uint8_t> taken = bytes(sizeof(value));
        std::copy(taken.begin(), taken.end(), reinterpret_cast<uint8_t*>(&value));
        return value;
    }

    /** A number below `limit`, from one byte. */
    size_t pick(size_t limit) { return take<uint8_t>() % limit; }

    template <typename T, size_t N>
    T& pickFrom(T (&choices)[N]) {
        return choices[pick(N)];
    }

    /** A text of up to 255 bytes, from a byte for its length on. */
    std::string text() {
        const std::vector<uint8_t> taken = bytes(take<uint8_t>());
        return {taken.begin(), taken.end()};
    }

  private:
    std::vector<uint8_t> mLeft;
    size_t mNext = 0;
};

/** Ends the run when something that must hold does not. */
inline void Require(bool condition, const char* what) {
    if (!condition) {
        fprintf(stderr, "broken: %s\n", what);
        abort();
    }
}

}  // namespace KVT::fuzz

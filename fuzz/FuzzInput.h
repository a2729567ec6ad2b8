// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace KVT::fuzz {

/** A fuzzer's bytes, taken from the front; zeros once they are used up. */
class FuzzInput {
  public:
    FuzzInput(const uint8_t* data, size_t size) : mData(data), mLeft(size) {}

    bool empty() const { return mLeft == 0; }

    template <typename T>
    T take() {
        T value{};
        const size_t size = std::min(sizeof(value), mLeft);
        if (size > 0) {
            memcpy(&value, mData, size);
        }
        mData += size;
        mLeft -= size;
        return value;
    }

    /** A number below `limit`, from one byte. */
    size_t pick(size_t limit) { return take<uint8_t>() % limit; }

    std::vector<uint8_t> bytes(size_t wanted) {
        const size_t size = std::min(wanted, mLeft);
        std::vector<uint8_t> taken(mData, mData + size);
        mData += size;
        mLeft -= size;
        return taken;
    }

  private:
    const uint8_t* mData;
    size_t mLeft;
};

}  // namespace KVT::fuzz

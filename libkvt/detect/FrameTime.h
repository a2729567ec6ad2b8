// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>

namespace KVT {

// What an estimator takes for a frame: 500 fps is beyond every panel, and a frame longer than that
// of 15 fps is a pause of the game, which must not drag a whole window down.
constexpr int64_t kMinFrameNs = 2'000'000;
constexpr int64_t kMaxFrameNs = 66'666'666;

constexpr int64_t ClampFrameNs(int64_t frameNs) {
    return std::clamp(frameNs, kMinFrameNs, kMaxFrameNs);
}

// Time stamps come from other processes and may be anything, so sums and differences wrap.

constexpr int64_t TimeBetween(int64_t earlierNs, int64_t laterNs) {
    return static_cast<int64_t>(static_cast<uint64_t>(laterNs) - static_cast<uint64_t>(earlierNs));
}

constexpr int64_t TimeAfter(int64_t timeNs, int64_t deltaNs) {
    return static_cast<int64_t>(static_cast<uint64_t>(timeNs) + static_cast<uint64_t>(deltaNs));
}

}  // namespace KVT

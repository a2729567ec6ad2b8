// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <random>

namespace KVT {

/** How a simulated game composes its frames; lengths in nanoseconds. */
struct FramePattern {
    int64_t periodNs = 16'666'666;
    int64_t jitterNs = 0;      // each frame is up to this much longer or shorter, uniformly
    int64_t swingNs = 0;       // frames are in turn longer and shorter by this
    int32_t dropPerMille = 0;  // chance that a frame misses its slot and takes two periods
};

/**
 * Endless frame lengths from a seed: the same seed and patterns give the same frames everywhere,
 * since the generator is fixed by the language and all arithmetic is on integers.
 */
class FrameStream {
  public:
    explicit FrameStream(uint64_t seed) : mRandom(seed) {}

    /** The length of the next frame. Each frame takes two random numbers, whatever the pattern. */
    int64_t next(const FramePattern& pattern) {
        const uint64_t jitterDraw = mRandom();
        const uint64_t dropDraw = mRandom();
        const uint64_t jitterRange = 2 * static_cast<uint64_t>(pattern.jitterNs) + 1;
        const auto jitter = static_cast<int64_t>(jitterDraw % jitterRange) - pattern.jitterNs;
        const bool dropped = dropDraw % 1000 < static_cast<uint64_t>(pattern.dropPerMille);
        const int64_t swing = mOdd ? -pattern.swingNs : pattern.swingNs;
        mOdd = !mOdd;
        return pattern.periodNs * (dropped ? 2 : 1) + jitter + swing;
    }

  private:
    std::mt19937_64 mRandom;
    bool mOdd = false;
};

}  // namespace KVT

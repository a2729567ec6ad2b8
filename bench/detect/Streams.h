// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

#include "sim/FrameStream.h"

namespace KVT {

constexpr size_t kStreamFrames = 100'000;

inline std::vector<int64_t> SteadyStream() {
    return std::vector<int64_t>(kStreamFrames, 16'666'666);
}

/** A game that wanders between 40 and 90 fps, with jitter, a swing and lost frames. */
inline std::vector<int64_t> JitteryStream() {
    constexpr FramePattern kScenes[] = {
        {16'666'666, 1'500'000, 0, 10}, {15'000'000, 2'500'000, 0, 20},
        {11'111'111, 1'000'000, 0, 5},  {13'500'000, 3'000'000, 1'000'000, 0},
        {22'222'222, 4'000'000, 0, 30}, {18'000'000, 2'000'000, 4'000'000, 10},
        {25'000'000, 1'000'000, 0, 0},  {16'000'000, 8'000'000, 0, 0},
    };
    constexpr size_t kSceneFrames = 700;
    FrameStream stream(2024);
    std::vector<int64_t> frames;
    frames.reserve(kStreamFrames);
    for (size_t i = 0; i < kStreamFrames; ++i) {
        frames.push_back(stream.next(kScenes[i / kSceneFrames % std::size(kScenes)]));
    }
    return frames;
}

}  // namespace KVT

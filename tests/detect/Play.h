// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace KVT {

/** Frame lengths, oldest first; ns. */
using Lengths = std::vector<int64_t>;

inline constexpr int64_t k40 = 25'000'000;
inline constexpr int64_t k60 = 16'666'666;
inline constexpr int64_t k90 = 11'111'111;

inline Lengths Alternate(size_t frames, int64_t first, int64_t second) {
    Lengths lengths(frames, first);
    for (size_t i = 1; i < frames; i += 2) {
        lengths[i] = second;
    }
    return lengths;
}

/** After which frame (the first is 1) which rate was due. */
using Results = std::vector<std::pair<int, int32_t>>;

template <typename Estimator>
Results Play(const std::vector<Lengths>& stretches, Estimator&& estimator = Estimator()) {
    Results results;
    int frame = 0;
    for (const Lengths& stretch : stretches) {
        for (const int64_t length : stretch) {
            ++frame;
            if (estimator.UpdateFps(length)) {
                results.emplace_back(frame, estimator.GetDetectedFps());
            }
        }
    }
    return results;
}

}  // namespace KVT

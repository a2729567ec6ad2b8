// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

namespace KVT {

/** After which frame (the first is 1) which rate was due. */
using Results = std::vector<std::pair<int, int32_t>>;

/** An estimator under test, and how many frames it has had. */
template <typename Estimator>
struct Feed {
    Estimator estimator;
    int frames = 0;

    Results operator()(const std::vector<int64_t>& lengthsNs) {
        Results results;
        for (const int64_t length : lengthsNs) {
            ++frames;
            if (estimator.UpdateFps(length)) {
                results.emplace_back(frames, estimator.GetDetectedFps());
            }
        }
        return results;
    }

    Results operator()(size_t count, int64_t lengthNs) {
        return (*this)(std::vector<int64_t>(count, lengthNs));
    }
};

}  // namespace KVT

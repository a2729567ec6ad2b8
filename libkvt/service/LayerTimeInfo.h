// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace KVT {

/** One frame of one compositor layer. */
struct LayerTimeInfo {
    std::string layerName;
    /** When the frame was shown: nanoseconds of the monotonic clock. */
    int64_t timestamp = 0;
    /** Set by the compositor for a frame of a full-screen surface outside games. */
    bool flag = false;
};

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <utility>

namespace KVT {

/**
 * What the display service is sent for each rate text. Any other rate is sent as the first, the
 * normal 60 Hz mode of some panels, which is another mode than "60".
 */
inline constexpr std::pair<const char*, int32_t> kRateIndexes[] = {
    {"60n", 0}, {"30", 1}, {"45", 2}, {"60", 3}, {"90", 4}, {"120", 5}, {"180", 6},
};

}  // namespace KVT

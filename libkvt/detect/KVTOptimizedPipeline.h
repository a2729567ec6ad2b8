// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/String8.h>

#include <cstdint>
#include <string>
#include <vector>

namespace KVT {

/**
 * Judges and smooths a ring of 128 frame time stamps (ns, oldest in the slot after the newest one).
 *
 * A ring is legal when its oldest entries fill a second as a steady 60 or 90 fps game's would: 56
 * to 61 or 86 to 91 of them within the second, none of them 0. A ring that is not 128 entries long
 * is never legal and has nothing to copy.
 *
 * Stateless: the two members are kept for callers outside, and nothing here uses them.
 */
class KVTOptimizedPipeline {
  public:
    /**
     * The ring with its gaps evened out, where the ring is legal; else a copy. The newest slot,
     * `index`, is 0 either way.
     */
    static std::vector<int64_t> GetOptimizedFrameStats(std::vector<int64_t>& frameStats,
                                                       unsigned index);

    /** @param period receives the frame period, ns, when the count fits 60 or 90 fps */
    static bool IsFrameStatsIllegal(std::vector<int64_t>& frameStats, unsigned index,
                                    int64_t& period);

    /** Does nothing: smoothing is off. */
    static void SetCurrentLayerName(const android::String8& name);

    /** Always false: smoothing is off. */
    static bool IsOptimizedFrameStats();

    static std::vector<int64_t> optimizeFrameList;
    static std::string currentLayerName;
};

}  // namespace KVT

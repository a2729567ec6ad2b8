// SPDX-License-Identifier: Apache-2.0
#include "detect/KVTOptimizedPipeline.h"

#include <cstddef>
#include <limits>

#include "detect/FrameTime.h"
#include "sync/Clock.h"

namespace KVT {
namespace {

constexpr size_t kRingSize = 128;
constexpr int64_t kPendingTimestamp = std::numeric_limits<int64_t>::max();

/** How many frames a second of a steady game holds, give or take. */
constexpr struct {
    int32_t fewest;
    int32_t most;
    int64_t periodNs;
} kLegalCounts[] = {{56, 61, 16'666'666}, {86, 91, 11'111'111}};

size_t Slot(unsigned index, size_t position) {
    return (index + position) % kRingSize;
}

int64_t DistanceNs(int64_t from, int64_t to) {
    return from < to ? TimeBetween(from, to) : TimeBetween(to, from);
}

}  // namespace

std::vector<int64_t> KVTOptimizedPipeline::optimizeFrameList;
std::string KVTOptimizedPipeline::currentLayerName;

bool KVTOptimizedPipeline::IsFrameStatsIllegal(std::vector<int64_t>& frameStats, unsigned index,
                                               int64_t& period) {
    if (frameStats.size() != kRingSize) {
        return true;
    }
    const int64_t oldest = frameStats[Slot(index, 1)];
    bool zeroFound = false;
    size_t position = 1;
    for (; position < kRingSize; ++position) {
        const int64_t entry = frameStats[Slot(index, position)];
        zeroFound = entry == 0;
        if (zeroFound || TimeBetween(oldest, entry) > kNsPerS) {
            break;
        }
    }
    const auto count = static_cast<int32_t>(position - 1);
    for (const auto& legal : kLegalCounts) {
        if (count >= legal.fewest && count <= legal.most) {
            period = legal.periodNs;
            return zeroFound;
        }
    }
    return true;
}

std::vector<int64_t> KVTOptimizedPipeline::GetOptimizedFrameStats(std::vector<int64_t>& frameStats,
                                                                  unsigned index) {
    std::vector<int64_t> optimized(kRingSize, 0);
    if (frameStats.size() != kRingSize) {
        return optimized;
    }
    int64_t period = 0;
    if (IsFrameStatsIllegal(frameStats, index, period)) {
        optimized = frameStats;
        optimized[Slot(index, 0)] = 0;
        return optimized;
    }
    int64_t previousIn = frameStats[Slot(index, 1)];
    int64_t previousOut = previousIn;
    optimized[Slot(index, 1)] = previousOut;
    for (size_t position = 2; position < kRingSize; ++position) {
        const int64_t entry = frameStats[Slot(index, position)];
        int64_t delta = entry == kPendingTimestamp ? period : DistanceNs(previousIn, entry);
        if (delta > 2 * period) {
            delta -= period;
        }
        previousOut = TimeAfter(previousOut, delta);
        optimized[Slot(index, position)] = previousOut;
        previousIn = entry;
    }
    return optimized;
}

void KVTOptimizedPipeline::SetCurrentLayerName(const android::String8& /*name*/) {}

bool KVTOptimizedPipeline::IsOptimizedFrameStats() {
    return false;
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "detect/KVTOptimizedPipeline.h"

#include <gtest/gtest.h>

#include <limits>

namespace KVT {
namespace {

using Pipeline = KVTOptimizedPipeline;

constexpr int64_t kSecond = 1'000'000'000;
constexpr int64_t k60 = 16'666'666;
constexpr int64_t k90 = 11'111'111;

/** A ring whose newest entry is in slot `index`, and access to it by age: 1 is the oldest. */
struct Ring {
    unsigned index;
    std::vector<int64_t> slots = std::vector<int64_t>(128, 0);

    int64_t& at(unsigned position) { return slots[(index + position) % 128]; }
};

/** `inFirstSecond` entries within a second of the oldest one, the others later. */
Ring MakeRing(unsigned inFirstSecond, unsigned index = 5) {
    Ring ring{index};
    for (unsigned i = 1; i <= 128; ++i) {
        ring.at(i) = 7 + (i <= inFirstSecond ? i - 1 : kSecond + i);
    }
    return ring;
}

TEST(KVTOptimizedPipeline, JudgesByTheEntriesOfTheFirstSecond) {
    const struct {
        unsigned count;
        unsigned zeroAt;  // 0: nowhere
        bool illegal;
        int64_t period;  // -1: not stored
    } cases[] = {{1, 0, true, -1},    {55, 0, true, -1},   {56, 0, false, k60}, {61, 0, false, k60},
                 {62, 0, true, -1},   {85, 0, true, -1},   {86, 0, false, k90}, {91, 0, false, k90},
                 {92, 0, true, -1},   {127, 0, true, -1},  {61, 1, true, -1},   {61, 56, true, -1},
                 {61, 57, true, k60}, {61, 61, true, k60}, {60, 62, false, k60}};
    for (const auto& c : cases) {
        for (const unsigned index : {0u, 100u, 127u, 128u, ~0u}) {
            Ring ring = MakeRing(c.count, index);
            if (c.zeroAt != 0) {
                ring.at(c.zeroAt) = 0;
            }
            int64_t period = -1;
            EXPECT_EQ(Pipeline::IsFrameStatsIllegal(ring.slots, index, period), c.illegal);
            EXPECT_EQ(period, c.period) << c.count << " " << c.zeroAt;
        }
    }
    Ring exactlyASecond = MakeRing(55);
    exactlyASecond.at(56) = 7 + kSecond;
    int64_t period = -1;
    EXPECT_FALSE(Pipeline::IsFrameStatsIllegal(exactlyASecond.slots, 5, period));
}

TEST(KVTOptimizedPipeline, CopiesAnIllegalRing) {
    Ring ring = MakeRing(70);
    Ring expected = ring;
    expected.at(0) = 0;
    EXPECT_EQ(Pipeline::GetOptimizedFrameStats(ring.slots, ring.index), expected.slots);
    std::vector<int64_t> empty;
    int64_t period = 0;
    EXPECT_TRUE(Pipeline::IsFrameStatsIllegal(empty, 3, period));
    EXPECT_EQ(Pipeline::GetOptimizedFrameStats(empty, 3), std::vector<int64_t>(128, 0));
}

TEST(KVTOptimizedPipeline, EvensOutALegalRing) {
    Ring ring{90};
    Ring expected{90};
    for (unsigned i = 1; i <= 127; ++i) {
        ring.at(i) = expected.at(i) = kSecond + (i - 1) * k60;
    }
    const auto shift = [&](unsigned from, int64_t in, int64_t out) {
        for (unsigned i = from; i <= 127; ++i) {
            ring.at(i) += in;
            expected.at(i) += out;
        }
    };
    shift(10, k60 + 1, 1);   // two periods and more: one frame was missed
    shift(20, k60, k60);     // exactly two periods stay
    shift(30, -2 * k60, 0);  // backwards by a period: its distance counts
    ring.at(127) = std::numeric_limits<int64_t>::max();  // not presented yet: a period later
    expected.at(127) = expected.at(126) + k60;
    ring.at(128) = 12345;  // the newest
    EXPECT_EQ(Pipeline::GetOptimizedFrameStats(ring.slots, ring.index), expected.slots);
}

TEST(KVTOptimizedPipeline, SurvivesAbsurdTimestamps) {
    Ring ring = MakeRing(60);
    for (unsigned i = 61; i < 128; i += 2) {
        ring.at(i) = std::numeric_limits<int64_t>::min() + i % 3;
    }
    Pipeline::GetOptimizedFrameStats(ring.slots, ring.index);
}

TEST(KVTOptimizedPipeline, KeepsSmoothingOff) {
    Pipeline::SetCurrentLayerName(android::String8("layer"));
    EXPECT_TRUE(Pipeline::currentLayerName.empty());
    EXPECT_TRUE(Pipeline::optimizeFrameList.empty());
    EXPECT_FALSE(Pipeline::IsOptimizedFrameStats());
}

}  // namespace
}  // namespace KVT

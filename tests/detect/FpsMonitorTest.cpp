// SPDX-License-Identifier: Apache-2.0
#include "detect/FpsMonitor.h"

#include <cutils/properties.h>
#include <gmock/gmock.h>

#include <queue>

#include "tests/detect/Play.h"
#include "tests/support/LogCapture.h"

namespace KVT {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/**
 * 40 frames with a deviation of exactly 2 * `unitNs`, if `farthestNs`, which one frame is off the
 * mean, is 6 units.
 */
Lengths ThreeSigmaSample(int64_t meanNs, int64_t unitNs, int64_t farthestNs) {
    Lengths sample(40, meanNs);
    const int64_t others[] = {5, -5, 4, -4, 4, -4, -1, -1, -1, -1, -1, -1};
    for (size_t i = 0; i < std::size(others); ++i) {
        sample[3 * i] += others[i] * unitNs;
    }
    sample[38] += farthestNs;
    return sample;
}

TEST(FpsMonitor, JudgesStreams) {
    const Lengths at60(100, k60);
    const Lengths at20(60, 50'000'000);
    // 20 ms give or take d have a deviation of d * sqrt(40 / 39).
    const auto spread = [](int64_t d) { return Alternate(100, 20'000'000 - d, 20'000'000 + d); };
    const struct {
        const char* name;
        std::vector<Lengths> stream;
        Results results;
    } cases[] = {
        {"the initial rate is no change", {Lengths(180, 50'000'000)}, {{180, 20}}},
        {"rises on the newest 40 frames, half of them at 90 first",
         {at60, Lengths(40, k90)},
         {{100, 60}, {120, 70}, {140, 90}}},
        // They give 55, 50, 45 (which restart the count), then 40 from frame 180 on.
        {"falls on the sixth equal evaluation of all 100 frames",
         {at60, Lengths(280, k40)},
         {{100, 60}, {200, 60}, {280, 40}, {380, 40}}},
        {"does not judge irregular frames",
         {at60, Alternate(200, 10'000'000, 30'000'000)},
         {{100, 60}, {200, 60}, {300, 60}}},
        {"a deviation of 4999999.6 ns", {spread(4'937'104)}, {{100, 50}}},
        {"a deviation of 5000000.6 ns", {spread(4'937'105)}, {}},
        {"a deviation of 5 ms",
         {at20, ThreeSigmaSample(20'000'000, 2'500'000, 15'000'000)},
         {{100, 50}}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Play<FpsMonitor>(c.stream), c.results) << c.name;
    }
}

TEST(FpsMonitor, DropsWhatIsThreeSigmaOrMoreFromTheMean) {
    // 40 frames with a deviation of 1 ms, one of them 3 ms off the mean. With it the mean is on one
    // side of 15.38 ms, which separates 60 from 70 fps, without it on the other.
    const int32_t cases[][4] = {
        // mean, unit, farthest, rate
        {15'400'000, 500'000, 3'000'001, 70},   {15'400'000, 500'000, 3'000'000, 70},
        {15'400'000, 500'000, 2'999'999, 60},   {15'320'000, -500'000, -3'000'001, 60},
        {15'320'000, -500'000, -3'000'000, 60}, {15'320'000, -500'000, -2'999'999, 70}};
    for (const auto& [mean, unit, farthest, fps] : cases) {
        EXPECT_THAT(
            Play<FpsMonitor>({Lengths(60, 50'000'000), ThreeSigmaSample(mean, unit, farthest)}),
            ElementsAre(std::pair(100, fps)))
            << farthest;
    }
}

TEST(FpsMonitor, FiltersWindows) {
    const struct {
        std::deque<Lengths> windows;
        int skip;
        Lengths out;
        double stdev;
    } cases[] = {{{{100}, {3, 1}, {4, 2}}, 1, {3, 1, 4, 2}, 1.2909944487358056},
                 {{{7, 7}, {7, 7}}, 0, {7, 7, 7, 7}, 0.0},  // no spread
                 {{{1, 2}, {3, 4}}, 2, {}, 0.0},
                 {{}, 0, {}, 0.0},
                 {{Lengths(10, 0), {44}}, 0, Lengths(10, 0), 13.266499161421599}};
    for (const auto& c : cases) {
        Lengths out = {99};
        double stdev = -1;
        FpsMonitor().GetFilteredData(std::queue(c.windows), c.skip, out, stdev);
        EXPECT_EQ(out, c.out);
        EXPECT_DOUBLE_EQ(stdev, c.stdev);
    }
}

TEST(FpsMonitor, ClearKeepsOnlyWhenTheNextResultIsDue) {
    FpsMonitor monitor;
    EXPECT_THAT(Play({Lengths(170, 50'000'000)}, monitor), IsEmpty()) << "four without a change";
    monitor.Clear();
    EXPECT_THAT(Play({Lengths(100, 50'000'000)}, monitor), ElementsAre(std::pair(100, 20)));
}

TEST(FpsMonitor, EvaluatesNothingHarmlessly) {
    FpsMonitor monitor;
    EXPECT_FALSE(monitor.ComputeFps());
    EXPECT_EQ(monitor.GetDetectedFps(), 20);
}

TEST(FpsMonitor, LogsItsEvaluationsOnRequest) {
    LogCapture log;
    Play<FpsMonitor>({Lengths(200, k60)});
    EXPECT_THAT(log.take(), IsEmpty());
    property_set("persist.dynamicfps.logswitch", "true");
    FpsMonitor monitor;
    const std::string p = "I/KVTService: FpsMonitor: ";
    Play({Lengths(100, k60), Alternate(20, 15'666'666, 17'666'666)}, monitor);
    EXPECT_THAT(log.take(),
                ElementsAre(p + "new part dataAfterFilter size = 40 stdev = 0.000000",
                            p + "up dataAfterFilter size = 40 stdev = 0.000000",
                            p + "currentFps = 60 calFps = 60",
                            p + "new part dataAfterFilter size = 40 stdev = 716114.874039"));
    Play({Lengths(179, k40)}, monitor);
    log.take();
    Play({Lengths(1, k40)}, monitor);
    EXPECT_THAT(log.take(), ElementsAre(p + "new part dataAfterFilter size = 40 stdev = 0.000000",
                                        p + "down dataAfterFilter size = 100 stdev = 0.000000",
                                        p + "lastCalFps = 40, lastCalFpsCount = 6",
                                        p + "currentFps = 40 calFps = 40"));
}

}  // namespace
}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "detect/FpsMonitor.h"

#include <cutils/properties.h>
#include <gmock/gmock.h>

#include "tests/detect/Feed.h"
#include "tests/support/LogCapture.h"

namespace KVT {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int64_t k40 = 25'000'000;
constexpr int64_t k60 = 16'666'666;
constexpr int64_t k90 = 11'111'111;

std::vector<int64_t> Alternate(size_t frames, int64_t firstNs, int64_t secondNs) {
    std::vector<int64_t> lengths;
    for (size_t i = 0; i < frames; ++i) {
        lengths.push_back(i % 2 == 0 ? firstNs : secondNs);
    }
    return lengths;
}

/**
 * 40 frames with a deviation of exactly 2 * `unitNs`, if `farthestNs`, which one frame is off the
 * mean, is 6 units.
 */
std::vector<int64_t> ThreeSigmaSample(int64_t meanNs, int64_t unitNs, int64_t farthestNs) {
    std::vector<int64_t> sample(40, meanNs);
    const int64_t others[] = {5, -5, 4, -4, 4, -4, -1, -1, -1, -1, -1, -1};
    for (size_t i = 0; i < std::size(others); ++i) {
        sample[3 * i] += others[i] * unitNs;
    }
    sample[38] += farthestNs;
    return sample;
}

TEST(FpsMonitor, ReportsTheFirstRateAfterFiveWindows) {
    Feed<FpsMonitor> feed;
    EXPECT_THAT(feed(99, k90), IsEmpty());
    EXPECT_THAT(feed(1, k90), ElementsAre(std::pair(100, 90)));
}

TEST(FpsMonitor, QuantisesRates) {
    const struct {
        int32_t from;
        int32_t to;
        int32_t fps;
    } rows[] = {{23, 27, 25}, {28, 32, 30}, {33, 37, 35}, {38, 42, 40}, {43, 47, 45}, {48, 52, 50},
                {53, 57, 55}, {58, 64, 60}, {65, 77, 70}, {78, 87, 80}, {88, 500, 90}};
    for (const auto& row : rows) {
        for (const int32_t rate : {row.from, row.to}) {
            Feed<FpsMonitor> feed;
            EXPECT_THAT(feed(100, 1'000'000'000 / rate), ElementsAre(std::pair(100, row.fps)))
                << rate;
        }
    }
    for (const int64_t rate : {15, 22}) {
        Feed<FpsMonitor> feed;
        EXPECT_THAT(feed(179, 1'000'000'000 / rate), IsEmpty()) << "20 is no change";
        EXPECT_THAT(feed(1, 1'000'000'000 / rate), ElementsAre(std::pair(180, 20)));
    }
}

TEST(FpsMonitor, RisesOnTheNewest40Frames) {
    Feed<FpsMonitor> feed;
    feed(100, k60);
    EXPECT_THAT(feed(20, k90), ElementsAre(std::pair(120, 70))) << "half of them at 90";
    EXPECT_THAT(feed(20, k90), ElementsAre(std::pair(140, 90)));
}

TEST(FpsMonitor, FallsOnTheSixthEqualEvaluationOfAll100Frames) {
    Feed<FpsMonitor> feed;
    feed(100, k60);
    // The 100 frames give 55, 50, 45 (which restart the count), then 40 from frame 180 on.
    EXPECT_THAT(feed(179, k40), ElementsAre(std::pair(200, 60))) << "due without a change";
    EXPECT_THAT(feed(1, k40), ElementsAre(std::pair(280, 40)));
    EXPECT_THAT(feed(100, k40), ElementsAre(std::pair(380, 40)));
}

TEST(FpsMonitor, DoesNotJudgeIrregularFrames) {
    Feed<FpsMonitor> steadyBefore;
    steadyBefore(100, k60);
    EXPECT_THAT(steadyBefore(Alternate(200, 10'000'000, 30'000'000)),
                ElementsAre(std::pair(200, 60), std::pair(300, 60)));

    // 20 ms give or take d have a deviation of d * sqrt(40 / 39): 4999999.6 and 5000000.6 ns.
    Feed<FpsMonitor> justRegular;
    EXPECT_THAT(justRegular(Alternate(100, 20'000'000 - 4'937'104, 20'000'000 + 4'937'104)),
                ElementsAre(std::pair(100, 50)));
    Feed<FpsMonitor> justIrregular;
    EXPECT_THAT(justIrregular(Alternate(100, 20'000'000 - 4'937'105, 20'000'000 + 4'937'105)),
                IsEmpty());
    Feed<FpsMonitor> atTheLimit;
    atTheLimit(60, 50'000'000);
    EXPECT_THAT(atTheLimit(ThreeSigmaSample(20'000'000, 2'500'000, 15'000'000)),
                ElementsAre(std::pair(100, 50)));
}

TEST(FpsMonitor, DropsWhatIsThreeSigmaOrMoreFromTheMean) {
    // 40 frames with a deviation of 1 ms, one of them 3 ms off the mean. With it the mean is on one
    // side of 15.38 ms, which separates 60 from 70 fps, without it on the other.
    const struct {
        int64_t meanNs;
        int64_t farthestNs;
        int32_t fps;
        size_t kept;
    } cases[] = {{15'400'000, 3'000'001, 70, 39},  {15'400'000, 3'000'000, 70, 39},
                 {15'400'000, 2'999'999, 60, 40},  {15'320'000, -3'000'001, 60, 39},
                 {15'320'000, -3'000'000, 60, 39}, {15'320'000, -2'999'999, 70, 40}};
    for (const auto& c : cases) {
        const auto sample =
            ThreeSigmaSample(c.meanNs, c.farthestNs > 0 ? 500'000 : -500'000, c.farthestNs);
        Feed<FpsMonitor> feed;
        feed(60, 50'000'000);
        EXPECT_THAT(feed(sample), ElementsAre(std::pair(100, c.fps))) << c.farthestNs;

        std::queue<std::vector<int64_t>> windows;
        windows.push(sample);
        std::vector<int64_t> out;
        double stdev = 0;
        feed.estimator.GetFilteredData(windows, 0, out, stdev);
        EXPECT_THAT(out, SizeIs(c.kept)) << c.farthestNs;
        EXPECT_NEAR(stdev, 1'000'000.0, 0.1);
    }
}

TEST(FpsMonitor, FiltersWindows) {
    const FpsMonitor monitor;
    const auto filter = [&monitor](std::vector<std::vector<int64_t>> windows, int skip,
                                   double expectedStdev) {
        std::queue<std::vector<int64_t>> queue;
        for (auto& window : windows) {
            queue.push(std::move(window));
        }
        std::vector<int64_t> out = {99};
        double stdev = -1;
        monitor.GetFilteredData(queue, skip, out, stdev);
        EXPECT_DOUBLE_EQ(stdev, expectedStdev);
        return out;
    };
    EXPECT_THAT(filter({{3, 1}, {4, 2}}, 0, 1.2909944487358056), ElementsAre(3, 1, 4, 2));
    EXPECT_THAT(filter({{100}, {3, 1}, {4, 2}}, 1, 1.2909944487358056), ElementsAre(3, 1, 4, 2));
    EXPECT_THAT(filter({{7, 7}, {7, 7}}, 0, 0.0), ElementsAre(7, 7, 7, 7)) << "no spread";
    EXPECT_THAT(filter({{1, 2}, {3, 4}}, 2, 0.0), IsEmpty());
    EXPECT_THAT(filter({}, 0, 0.0), IsEmpty());
}

TEST(FpsMonitor, ClearKeepsOnlyWhenTheNextResultIsDue) {
    Feed<FpsMonitor> feed;
    EXPECT_THAT(feed(170, 50'000'000), IsEmpty()) << "four evaluations without a change";
    feed.estimator.Clear();
    EXPECT_THAT(feed(99, 50'000'000), IsEmpty());
    EXPECT_THAT(feed(1, 50'000'000), ElementsAre(std::pair(270, 20))) << "the fifth";

    feed(200, k90);
    feed.estimator.Clear();
    EXPECT_EQ(feed.estimator.GetDetectedFps(), 20);
    EXPECT_THAT(feed(100, k40), ElementsAre(std::pair(570, 40)));
}

TEST(FpsMonitor, EvaluatesNothingHarmlessly) {
    FpsMonitor monitor;
    EXPECT_FALSE(monitor.ComputeFps());
    EXPECT_EQ(monitor.GetDetectedFps(), 20);
}

TEST(FpsMonitor, LogsItsEvaluationsOnRequest) {
    LogCapture log;
    {
        Feed<FpsMonitor> quiet;
        quiet(200, k60);
        EXPECT_THAT(log.take(), IsEmpty());
    }
    property_set("persist.dynamicfps.logswitch", "true");
    Feed<FpsMonitor> feed;
    feed(100, k60);
    EXPECT_THAT(
        log.take(),
        ElementsAre("I/KVTService: FpsMonitor: new part dataAfterFilter size = 40 stdev = 0.000000",
                    "I/KVTService: FpsMonitor: up dataAfterFilter size = 40 stdev = 0.000000",
                    "I/KVTService: FpsMonitor: currentFps = 60 calFps = 60"));
    feed(Alternate(20, 15'666'666, 17'666'666));
    EXPECT_THAT(log.take(), ElementsAre("I/KVTService: FpsMonitor: new part dataAfterFilter size = "
                                        "40 stdev = 716114.874039"));
    feed(179, k40);
    log.take();
    feed(1, k40);
    EXPECT_THAT(
        log.take(),
        ElementsAre("I/KVTService: FpsMonitor: new part dataAfterFilter size = 40 stdev = 0.000000",
                    "I/KVTService: FpsMonitor: down dataAfterFilter size = 100 stdev = 0.000000",
                    "I/KVTService: FpsMonitor: lastCalFps = 40, lastCalFpsCount = 6",
                    "I/KVTService: FpsMonitor: currentFps = 40 calFps = 40"));
}

}  // namespace
}  // namespace KVT

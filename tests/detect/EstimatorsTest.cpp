// SPDX-License-Identifier: Apache-2.0
#include <cutils/properties.h>
#include <gmock/gmock.h>

#include <limits>
#include <queue>
#include <random>

#include "detect/FpsDetector.h"
#include "detect/FpsMonitor.h"
#include "sim/FrameStream.h"
#include "tests/detect/EstimatorModels.h"
#include "tests/support/LogCapture.h"

namespace KVT {
namespace {

using testing::ElementsAre;

constexpr int64_t kAbsurd[] = {0, -5, 1'999'999, 66'666'667, 1'000'000'000, int64_t{1} << 61};
constexpr int64_t kJitters[] = {1, 1, 2, 200'000, 1'500'000, 4'000'000, 12'000'000};

constexpr int64_t k40 = 25'000'000;
constexpr int64_t k60 = 16'666'666;
constexpr int64_t k90 = 11'111'111;

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

class Streams {
  public:
    explicit Streams(uint64_t seed) : mRandom(seed), mLengths(seed) {}

    int64_t below(int64_t end) {
        return static_cast<int64_t>(mRandom() % static_cast<uint64_t>(end));
    }

    Lengths anyStretch() {
        const int64_t periods[] = {oneOf(kAbsurd),
                                   8'000'000 + below(50'000'000),
                                   1'000'000'000 / (14 + below(87)),
                                   1'000'000'000 / (14 + below(87)),
                                   oneOf(LevelModel::kBoundaries),
                                   oneOf(LevelModel::kBoundaries) + 1};
        FramePattern pattern = {oneOf(periods), below(oneOf(kJitters)), 0, 0};
        int64_t grain = 1;
        int64_t offset = 0;
        switch (below(7)) {
            case 0:
                pattern.swingNs = below(9'000'000);
                break;
            case 1:
                pattern.dropPerMille = static_cast<int32_t>(below(400));
                break;
            case 2:
                // Few different lengths, so that bounds fall on lengths that occur; and close to
                // 65 fps, where one frame more or less in the mean makes a difference.
                grain = below(3) == 0 ? 1 : 2'000'000;
                offset = 15'384'615 - 7 * grain;
                pattern = {7 * grain, below(4) * grain, 0, static_cast<int32_t>(below(100))};
                break;
            case 3:
                return threeSigmaSamples();
            default:
                break;
        }
        Lengths stretch(static_cast<size_t>(below(below(4) == 0 ? 1000 : 120)));
        for (int64_t& length : stretch) {
            length = offset + mLengths.next(pattern) / grain * grain;
        }
        return stretch;
    }

  private:
    template <typename Values>
    int64_t oneOf(const Values& values) {
        return values[below(static_cast<int64_t>(std::size(values)))];
    }

    /**
     * One frame just within, on or beyond the bound, which decides on which side of 65 fps the mean
     * is; or a deviation around the limit. Any 40 frames in a row are such a sample.
     */
    Lengths threeSigmaSamples() {
        const int64_t rows[][2] = {{15'400'000, 500'000},  // mean, unit
                                   {15'320'000, -500'000},
                                   {20'000'000, 2'500'000}};
        const auto& [mean, unit] = rows[below(std::size(rows))];
        const Lengths sample = ThreeSigmaSample(mean, unit, 6 * unit + below(3) - 1);
        Lengths stretch;
        for (int i = 0; i < 3; ++i) {
            stretch.insert(stretch.end(), sample.begin(), sample.end());
        }
        return stretch;
    }

    std::mt19937_64 mRandom;
    FrameStream mLengths;
};

void ExpectTheModelsAnswers(uint64_t seed) {
    Streams streams(seed);
    FpsDetector detector;
    FpsMonitor monitor;
    LevelModel levelModel;
    StatisticalModel statisticalModel;
    for (int frame = 0; frame < 5000;) {
        const Lengths stretch = streams.anyStretch();
        if (streams.below(10) == 0) {  // another game
            detector.Clear();
            monitor.Clear();
            levelModel.Clear();
            statisticalModel.Clear();
        }
        for (const int64_t length : stretch) {
            ++frame;
            ASSERT_EQ(detector.UpdateFps(length), levelModel.UpdateFps(length)) << frame;
            ASSERT_EQ(detector.GetDetectedFps(), levelModel.GetDetectedFps()) << frame;
            ASSERT_EQ(monitor.UpdateFps(length), statisticalModel.UpdateFps(length)) << frame;
            ASSERT_EQ(monitor.GetDetectedFps(), statisticalModel.GetDetectedFps()) << frame;
        }
    }
}

/** With the log on, the monitor always filters frame by frame; otherwise it mostly takes sums. */
TEST(Estimators, GiveTheModelsAnswersWhateverIsLogged) {
    LogCapture log;
    for (const char* logSwitch : {"0", "1"}) {
        property_set("persist.dynamicfps.logswitch", logSwitch);
        for (uint64_t seed = 0; seed < 500; ++seed) {
            SCOPED_TRACE(seed);
            ASSERT_NO_FATAL_FAILURE(ExpectTheModelsAnswers(seed));
            EXPECT_EQ(log.take().empty(), *logSwitch == '0');
        }
    }
}

TEST(FpsDetector, JudgesByItsSteps) {
    FpsDetector detector;
    EXPECT_EQ(detector.FramePeriodToLevel(std::numeric_limits<int>::max()), 0);
    EXPECT_EQ(detector.FramePeriodToLevel(std::numeric_limits<int>::min()), 11);
    EXPECT_EQ(detector.LevelToFps(-1), 20);
    EXPECT_EQ(detector.LevelToFps(12), 90);
    for (const auto& [given, flat] : std::vector<std::pair<Lengths, Lengths>>{
             {{}, {}}, {{1, 2, 3, 6, 9}, {1, 1, 4, 4, 9}}, {{0, 1, -9, 3}, {1, 1, 1, 1}}}) {
        Lengths lengths = given;
        detector.FlattenFrameLen(lengths);
        EXPECT_EQ(lengths, flat);
    }
    const struct {
        int fps;
        int64_t fasterBelow;
        int64_t slowerAbove;
    } margins[] = {{59, 16393442, 17857142},
                   {60, 15384615, 17543859},
                   {61, 15151515, 17857142},
                   {3, 200000000, 0},
                   {-2, 0, -200000000}};
    for (const auto& [fps, below, above] : margins) {
        EXPECT_EQ(detector.GetHighFpsAbnormalFrameNum({below - 1, below}, fps), 1) << fps;
        EXPECT_EQ(detector.GetLowFpsAbnormalFrameNum({above, above + 1}, fps), 1) << fps;
    }
}

TEST(FpsMonitor, JudgesByItsSteps) {
    FpsMonitor monitor;
    EXPECT_FALSE(monitor.ComputeFps()) << "of nothing";
    EXPECT_EQ(monitor.GetDetectedFps(), 20);
    const struct {
        std::deque<Lengths> windows;
        int skip;
        Lengths out;
        double stdev;
    } cases[] = {{{{100}, {3, 1}, {4, 2}}, 1, {3, 1, 4, 2}, 1.2909944487358056},
                 {{{7, 7}, {7, 7}}, 0, {7, 7, 7, 7}, 0.0},  // no spread
                 {{{1, 2}, {3, 4}}, 2, {}, 0.0},
                 {{Lengths(10, 0), {44}}, 0, Lengths(10, 0), 13.266499161421599}};
    for (const auto& c : cases) {
        Lengths out = {99};
        double stdev = -1;
        monitor.GetFilteredData(std::queue(c.windows), c.skip, out, stdev);
        EXPECT_EQ(out, c.out);
        EXPECT_DOUBLE_EQ(stdev, c.stdev);
    }
}

/** What an estimator logs about frames of two lengths in turn. */
template <typename Estimator>
std::vector<std::string> LogOf(Estimator& estimator, int frames, int64_t evenNs, int64_t oddNs) {
    LogCapture log;
    for (int i = 0; i < frames; ++i) {
        estimator.UpdateFps(i % 2 == 0 ? evenNs : oddNs);
    }
    return log.take();
}

TEST(FpsDetector, LogsItsEvaluations) {
    property_set("persist.dynamicfps.logswitch", "true");
    FpsDetector detector;
    const std::string p = "I/KVTService: AI-log: ";
    EXPECT_THAT(LogOf(detector, 50, k60, k60),
                ElementsAre(p + "avg fps 60, detected fps 60, high 0, low 0, originalCurrLevel 0, "
                                "originalNewLevel 8",
                            p + "changed 1 fps is 60, high 0 low 0"));
    EXPECT_THAT(LogOf(detector, 50, 15'000'000, 15'000'002),
                ElementsAre(p + "avg fps 63, detected fps 60, high 50, low 0, originalCurrLevel 8, "
                                "originalNewLevel 8"));
    // A jump leaves the counts as they were.
    EXPECT_THAT(LogOf(detector, 50, k90, k90),
                ElementsAre(p + "avg fps 90, detected fps 90, high 50, low 0, originalCurrLevel 8, "
                                "originalNewLevel 11",
                            p + "changed 1 fps is 90, high 50 low 0"));
    EXPECT_THAT(
        LogOf(detector, 100, 12'000'000, 13'000'000),
        ElementsAre(p + "avg fps 84, detected fps 90, high 0, low 50, originalCurrLevel 11, "
                        "originalNewLevel 10",
                    p + "avg fps 80, detected fps 80, high 0, low 100, originalCurrLevel "
                        "11, originalNewLevel 10",
                    p + "changed 3 fps is 80, high 0 low 100"));
}

TEST(FpsMonitor, LogsItsEvaluations) {
    property_set("persist.dynamicfps.logswitch", "true");
    FpsMonitor monitor;
    const std::string p = "I/KVTService: FpsMonitor: ";
    EXPECT_THAT(LogOf(monitor, 100, k60, k60),
                ElementsAre(p + "new part dataAfterFilter size = 40 stdev = 0.000000",
                            p + "up dataAfterFilter size = 40 stdev = 0.000000",
                            p + "currentFps = 60 calFps = 60"));
    EXPECT_THAT(LogOf(monitor, 20, 15'666'666, 17'666'666),
                ElementsAre(p + "new part dataAfterFilter size = 40 stdev = 716114.874039"));
    LogOf(monitor, 179, k40, k40);
    EXPECT_THAT(
        LogOf(monitor, 1, k40, k40),
        ElementsAre(p + "new part dataAfterFilter size = 40 stdev = 0.000000",
                    p + "down dataAfterFilter size = 100 stdev = 0.000000",
                    p + "lastCalFps = 40, lastCalFpsCount = 6", p + "currentFps = 40 calFps = 40"));
}

}  // namespace
}  // namespace KVT

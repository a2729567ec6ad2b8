// SPDX-License-Identifier: Apache-2.0
#include "detect/FpsDetector.h"

#include <cutils/properties.h>
#include <gmock/gmock.h>

#include <limits>

#include "tests/detect/Feed.h"
#include "tests/support/LogCapture.h"

namespace KVT {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr int64_t k60 = 16'666'666;
constexpr int64_t k90 = 11'111'111;

/** 50 frames: `special` of one length first, then the others. Even, so that pairs do not mix. */
std::vector<int64_t> Window(size_t special, int64_t specialNs, int64_t othersNs) {
    std::vector<int64_t> window(50, othersNs);
    std::fill_n(window.begin(), special, specialNs);
    return window;
}

TEST(FpsDetector, FollowsSteadyStreams) {
    Feed<FpsDetector> at60;
    EXPECT_THAT(at60(49, k60), IsEmpty());
    EXPECT_THAT(at60(1, k60), ElementsAre(std::pair(50, 60))) << "a jump needs one window";
    EXPECT_THAT(at60(200, k60), ElementsAre(std::pair(150, 60), std::pair(250, 60)));
    EXPECT_THAT(at60(50, k90), ElementsAre(std::pair(300, 90)));

    Feed<FpsDetector> at25;
    EXPECT_THAT(at25(300, 40'000'000),
                ElementsAre(std::pair(100, 25), std::pair(200, 25), std::pair(300, 25)))
        << "one level up needs two windows";
    Feed<FpsDetector> at20;
    EXPECT_THAT(at20(250, 50'000'000), ElementsAre(std::pair(150, 20), std::pair(250, 20)));
}

TEST(FpsDetector, MovesOnTheMeanOfTwoWindows) {
    Feed<FpsDetector> up;
    up(50, k60);
    EXPECT_THAT(up(100, 15'151'515), ElementsAre(std::pair(150, 70)));

    Feed<FpsDetector> down;
    down(50, k60);
    EXPECT_THAT(down(100, 22'222'222), ElementsAre(std::pair(150, 45)));
}

TEST(FpsDetector, LooksAtPairsSoThatAlternationIsNotAbnormal) {
    Feed<FpsDetector> feed;
    feed(50, k60);
    std::vector<int64_t> alternating;
    for (int i = 0; i < 100; ++i) {
        alternating.insert(alternating.end(), {8'000'000, 25'000'000});
    }
    EXPECT_THAT(feed(alternating), ElementsAre(std::pair(150, 60), std::pair(250, 60)));
}

TEST(FpsDetector, ClimbsOneLevelWhenMostFramesAreFaster) {
    // 15 ms beats 60 fps with its margin (15.38 ms), while the mean stays within 60's level.
    Feed<FpsDetector> enough;
    enough(50, k60);
    EXPECT_THAT(enough(Window(30, 15'000'000, 17'000'000)), IsEmpty());
    EXPECT_THAT(enough(Window(32, 15'000'000, 17'000'000)), ElementsAre(std::pair(150, 70)));

    Feed<FpsDetector> oneShort;
    oneShort(50, k60);
    oneShort(Window(30, 15'000'000, 17'000'000));
    EXPECT_THAT(oneShort(Window(30, 15'000'000, 17'000'000)), ElementsAre(std::pair(150, 60)));

    Feed<FpsDetector> atTheTop;
    atTheTop(50, k90);
    EXPECT_THAT(atTheTop(150, 5'000'000), ElementsAre(std::pair(150, 90), std::pair(200, 90)))
        << "every evaluation climbs, to where it is";
}

TEST(FpsDetector, DescendsAtOnceOnStrongEvidence) {
    // 18.5 ms is slower than 60 fps with its margin (17.54 ms).
    Feed<FpsDetector> feed;
    feed(50, k60);
    EXPECT_THAT(feed(Window(44, 18'500'000, 16'000'000)), IsEmpty()) << "mean of 60's level";
    EXPECT_THAT(feed(Window(44, 18'500'000, 16'000'000)), ElementsAre(std::pair(150, 60)));
    EXPECT_THAT(feed(Window(46, 18'500'000, 16'000'000)), IsEmpty()) << "90 slow frames";
    EXPECT_THAT(feed(Window(46, 18'500'000, 16'000'000)), ElementsAre(std::pair(250, 55)));
}

TEST(FpsDetector, DescendsOnTheSameEvidenceSixTimesRunning) {
    // 60 slow frames in two windows, and a mean of 17.8 ms: 55 is proposed but not taken at once.
    const auto slow = Window(30, 19'000'000, 16'000'000);
    Feed<FpsDetector> confirmed;
    confirmed(50, k60);
    confirmed(slow);  // its mean with the window before is still 60's
    Results results;
    for (int evaluation = 1; evaluation <= 6; ++evaluation) {
        results = confirmed(slow);
        EXPECT_EQ(confirmed.estimator.GetDetectedFps(), evaluation < 6 ? 60 : 55) << evaluation;
    }
    EXPECT_THAT(results, ElementsAre(std::pair(400, 55)));

    Feed<FpsDetector> interrupted;
    interrupted(50, k60);
    for (int i = 0; i < 6; ++i) {
        interrupted(slow);
    }
    interrupted(50, k60);  // one evaluation that proposes 60: the five have to be seen again
    for (int i = 0; i < 6; ++i) {
        interrupted(slow);
        EXPECT_EQ(interrupted.estimator.GetDetectedFps(), 60);
    }
    interrupted(slow);
    EXPECT_EQ(interrupted.estimator.GetDetectedFps(), 55);

    // 26 and 24 slow frames in turn are 50, one too few.
    Feed<FpsDetector> tooWeak;
    tooWeak(50, k60);
    for (int i = 0; i < 20; ++i) {
        tooWeak(Window(26, 19'500'000, 16'000'000));
        tooWeak(Window(24, 19'500'000, 16'000'000));
    }
    EXPECT_EQ(tooWeak.estimator.GetDetectedFps(), 60);
    tooWeak(Window(24, 19'500'000, 16'000'000));
    tooWeak(Window(28, 19'500'000, 16'000'000));
    EXPECT_EQ(tooWeak.estimator.GetDetectedFps(), 55);
}

TEST(FpsDetector, ForgetsEverythingOnClear) {
    Feed<FpsDetector> feed;
    feed(149, k90);
    feed.estimator.Clear();
    EXPECT_EQ(feed.estimator.GetDetectedFps(), 20);
    feed.frames = 0;
    EXPECT_THAT(feed(100, 40'000'000), ElementsAre(std::pair(100, 25)))
        << "neither the open window nor the last one counts";
    feed.estimator.Clear();
    feed.frames = 0;
    feed(150, 50'000'000);
    feed(100, k60);
    feed(50, k60);  // half way to the next unchanged result
    feed.estimator.Clear();
    feed.frames = 0;
    EXPECT_THAT(feed(150, 50'000'000), ElementsAre(std::pair(150, 20)));
}

TEST(FpsDetector, TakesAbsurdLengthsForTheNearestSaneOne) {
    const FpsDetector detector;
    const int64_t extremes[][2] = {{0, 2'000'000},
                                   {1'999'999, 2'000'000},
                                   {2'000'000, 2'000'000},
                                   {66'666'666, 66'666'666},
                                   {66'666'667, 66'666'666},
                                   {1'000'000'000, 66'666'666},
                                   {std::numeric_limits<int64_t>::min(), 2'000'000},
                                   {std::numeric_limits<int64_t>::max(), 66'666'666}};
    for (const auto& [given, taken] : extremes) {
        int64_t length = given;
        detector.ValidFrameLen(length);
        EXPECT_EQ(length, taken);
    }
    // Six frames of 1 s and 44 of 11.1 ms have a mean of 17.8 ms once clamped: 55 fps.
    Feed<FpsDetector> feed;
    EXPECT_THAT(feed(Window(6, 1'000'000'000, k90)), ElementsAre(std::pair(50, 55)));
}

TEST(FpsDetector, SeparatesTheLevels) {
    const FpsDetector detector;
    const int boundaries[] = {45499999, 36999999, 31190474, 26964285, 23749999, 21222221,
                              19181817, 17499999, 15357142, 13303571, 11736111};
    int level = 0;
    for (const int boundary : boundaries) {
        EXPECT_EQ(detector.FramePeriodToLevel(boundary + 1), level);
        EXPECT_EQ(detector.FramePeriodToLevel(boundary), ++level);
    }
    EXPECT_EQ(detector.FramePeriodToLevel(0), 11);
    EXPECT_EQ(detector.FramePeriodToLevel(-1), 11);
    EXPECT_EQ(detector.FramePeriodToLevel(std::numeric_limits<int>::max()), 0);

    const int32_t rates[] = {20, 25, 30, 35, 40, 45, 50, 55, 60, 70, 80, 90};
    for (int i = 0; i < 12; ++i) {
        EXPECT_EQ(detector.LevelToFps(i), rates[i]);
    }
    EXPECT_EQ(detector.LevelToFps(-1), 20);
    EXPECT_EQ(detector.LevelToFps(12), 90);
}

TEST(FpsDetector, FlattensNeighbours) {
    const FpsDetector detector;
    const struct {
        std::vector<int64_t> given;
        std::vector<int64_t> flat;
    } cases[] = {{{}, {}},
                 {{7}, {7}},
                 {{8, 25}, {16, 16}},
                 {{1, 2, 3, 6, 9}, {1, 1, 4, 4, 9}},
                 {{0, 1, 0, 2, -9, 3}, {1, 1, 1, 1, 1, 1}}};
    for (const auto& c : cases) {
        auto lengths = c.given;
        detector.FlattenFrameLen(lengths);
        EXPECT_THAT(lengths, ElementsAreArray(c.flat));
    }
}

TEST(FpsDetector, CountsFramesBeyondAMargin) {
    const FpsDetector detector;
    const struct {
        int fps;
        int64_t fasterBelow;
        int64_t slowerAbove;
    } cases[] = {{20, 45454545, 58823529}, {59, 16393442, 17857142}, {60, 15384615, 17543859},
                 {61, 15151515, 17857142}, {90, 10526315, 11764705}, {3, 200000000, 0},
                 {-2, 0, -200000000}};
    for (const auto& c : cases) {
        const std::vector<int64_t> lengths = {c.fasterBelow - 1, c.fasterBelow, c.slowerAbove,
                                              c.slowerAbove + 1};
        EXPECT_EQ(detector.GetHighFpsAbnormalFrameNum({c.fasterBelow - 1, c.fasterBelow}, c.fps), 1)
            << c.fps;
        EXPECT_EQ(detector.GetLowFpsAbnormalFrameNum({c.slowerAbove, c.slowerAbove + 1}, c.fps), 1)
            << c.fps;
    }
    EXPECT_EQ(detector.GetHighFpsAbnormalFrameNum({}, 60), 0);
    EXPECT_EQ(detector.GetLowFpsAbnormalFrameNum({}, 60), 0);
}

TEST(FpsDetector, LogsItsEvaluationsOnRequest) {
    LogCapture log;
    {
        Feed<FpsDetector> quiet;
        quiet(200, k60);
        EXPECT_THAT(log.take(), IsEmpty());
    }
    property_set("persist.dynamicfps.logswitch", "true");
    Feed<FpsDetector> feed;
    feed(50, k60);
    EXPECT_THAT(log.take(),
                ElementsAre("I/KVTService: AI-log: avg fps 60, detected fps 60, high 0, low 0, "
                            "originalCurrLevel 0, originalNewLevel 8",
                            "I/KVTService: AI-log: changed 1 fps is 60, high 0 low 0"));
    feed(Window(32, 15'000'000, 18'000'000));
    EXPECT_THAT(log.take(),
                ElementsAre("I/KVTService: AI-log: avg fps 61, detected fps 60, high 32, low 18, "
                            "originalCurrLevel 8, originalNewLevel 8"));
    feed(50, k90);
    EXPECT_THAT(log.take(),
                ElementsAre("I/KVTService: AI-log: avg fps 90, detected fps 90, high 32, low 18, "
                            "originalCurrLevel 8, originalNewLevel 11",
                            "I/KVTService: AI-log: changed 1 fps is 90, high 32 low 18"))
        << "a jump leaves the counts as they were";
    feed(100, 12'500'000);
    EXPECT_THAT(log.take(),
                ElementsAre("I/KVTService: AI-log: avg fps 84, detected fps 90, high 0, low 50, "
                            "originalCurrLevel 11, originalNewLevel 10",
                            "I/KVTService: AI-log: avg fps 80, detected fps 80, high 0, low 100, "
                            "originalCurrLevel 11, originalNewLevel 10",
                            "I/KVTService: AI-log: changed 3 fps is 80, high 0 low 100"));
}

}  // namespace
}  // namespace KVT

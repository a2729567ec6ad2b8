// SPDX-License-Identifier: Apache-2.0
#include "detect/FpsDetector.h"

#include <cutils/properties.h>
#include <gmock/gmock.h>

#include <limits>

#include "tests/detect/Play.h"
#include "tests/support/LogCapture.h"

namespace KVT {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/** 50 frames: `special` of one length first, then the others. Even, so that pairs do not mix. */
Lengths Window(size_t special, int64_t specialNs, int64_t othersNs) {
    Lengths window(50, othersNs);
    std::fill_n(window.begin(), special, specialNs);
    return window;
}

TEST(FpsDetector, JudgesStreams) {
    const Lengths at60(50, k60);
    // 15 ms beats 60 fps with its margin (15.38 ms), while the mean stays within 60's level.
    const auto fast = [](size_t frames) { return Window(frames, 15'000'000, 17'000'000); };
    // 18.5 ms is slower than 60 fps with its margin (17.54 ms).
    const auto slow = [](size_t frames) { return Window(frames, 18'500'000, 16'000'000); };
    // 60 slow frames in two windows, and a mean of 17.8 ms: 55 is proposed but not taken at once.
    const Lengths partlySlow = Window(30, 19'000'000, 16'000'000);
    const struct {
        const char* name;
        std::vector<Lengths> stream;
        Results results;
    } cases[] = {
        {"a jump needs one window; an unchanged rate is due every two",
         {Lengths(250, k60), Lengths(50, k90)},
         {{50, 60}, {150, 60}, {250, 60}, {300, 90}}},
        {"one level up needs two windows",
         {Lengths(300, 40'000'000)},
         {{100, 25}, {200, 25}, {300, 25}}},
        {"the lowest level is no change", {Lengths(250, 50'000'000)}, {{150, 20}, {250, 20}}},
        {"a higher mean of two windows", {at60, Lengths(100, 15'151'515)}, {{50, 60}, {150, 70}}},
        {"a lower mean of two windows", {at60, Lengths(100, 22'222'222)}, {{50, 60}, {150, 45}}},
        {"alternating frames are no abnormal ones",
         {at60, Alternate(200, 8'000'000, 25'000'000)},
         {{50, 60}, {150, 60}, {250, 60}}},
        {"62 of 100 frames are faster", {at60, fast(30), fast(32)}, {{50, 60}, {150, 70}}},
        {"60 are too few", {at60, fast(30), fast(30)}, {{50, 60}, {150, 60}}},
        {"climbing goes on at the top",
         {Lengths(50, k90), Lengths(150, 5'000'000)},
         {{50, 90}, {150, 90}, {200, 90}}},
        {"90 slow frames are too few, 92 are enough",
         {at60, slow(44), slow(44), slow(46), slow(46)},
         {{50, 60}, {150, 60}, {250, 55}}},
        {"the sixth equal proposal",  // in the first window the mean is still 60's
         {at60, partlySlow, partlySlow, partlySlow, partlySlow, partlySlow, partlySlow, partlySlow},
         {{50, 60}, {150, 60}, {250, 60}, {350, 60}, {400, 55}}},
        {"the sixth in all, interrupted",
         {at60, partlySlow, partlySlow, partlySlow, partlySlow, partlySlow, partlySlow, at60,
          partlySlow, partlySlow},
         {{50, 60}, {150, 60}, {250, 60}, {350, 60}, {450, 60}}},
        {"six seconds' frames count as 66.7 ms: a mean of 17.8 ms",
         {Window(6, 1'000'000'000, k90)},
         {{50, 55}}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Play<FpsDetector>(c.stream), c.results) << c.name;
    }
}

TEST(FpsDetector, HasNoLevelsBeyondTheLowestAndTheHighest) {
    const FpsDetector detector;
    EXPECT_EQ(detector.FramePeriodToLevel(std::numeric_limits<int>::max()), 0);
    EXPECT_EQ(detector.FramePeriodToLevel(std::numeric_limits<int>::min()), 11);
    EXPECT_EQ(detector.LevelToFps(-1), 20);
    EXPECT_EQ(detector.LevelToFps(12), 90);
}

TEST(FpsDetector, FlattensNeighbours) {
    const struct {
        Lengths given;
        Lengths flat;
    } cases[] = {{{}, {}},
                 {{7}, {7}},
                 {{1, 2, 3, 6, 9}, {1, 1, 4, 4, 9}},
                 {{0, 1, 0, 2, -9, 3}, {1, 1, 1, 1, 1, 1}}};
    for (const auto& c : cases) {
        Lengths lengths = c.given;
        FpsDetector().FlattenFrameLen(lengths);
        EXPECT_EQ(lengths, c.flat);
    }
}

TEST(FpsDetector, CountsFramesBeyondAMargin) {
    const FpsDetector detector;
    const struct {
        int fps;
        int64_t fasterBelow;
        int64_t slowerAbove;
    } cases[] = {{59, 16393442, 17857142},
                 {60, 15384615, 17543859},
                 {61, 15151515, 17857142},
                 {3, 200000000, 0},
                 {-2, 0, -200000000}};
    for (const auto& [fps, below, above] : cases) {
        EXPECT_EQ(detector.GetHighFpsAbnormalFrameNum({below - 1, below}, fps), 1) << fps;
        EXPECT_EQ(detector.GetLowFpsAbnormalFrameNum({above, above + 1}, fps), 1) << fps;
    }
}

TEST(FpsDetector, LogsItsEvaluationsOnRequest) {
    LogCapture log;
    Play<FpsDetector>({Lengths(200, k60)});
    EXPECT_THAT(log.take(), IsEmpty());
    property_set("persist.dynamicfps.logswitch", "true");
    Play<FpsDetector>({Lengths(50, k60), Window(32, 15'000'000, 18'000'000), Lengths(50, k90),
                       Lengths(100, 12'500'000)});
    const std::string p = "I/KVTService: AI-log: ";
    EXPECT_THAT(
        log.take(),
        ElementsAre(p + "avg fps 60, detected fps 60, high 0, low 0, originalCurrLevel 0, "
                        "originalNewLevel 8",
                    p + "changed 1 fps is 60, high 0 low 0",
                    p + "avg fps 61, detected fps 60, high 32, low 18, originalCurrLevel 8, "
                        "originalNewLevel 8",
                    // A jump leaves the counts as they were.
                    p + "avg fps 90, detected fps 90, high 32, low 18, originalCurrLevel 8, "
                        "originalNewLevel 11",
                    p + "changed 1 fps is 90, high 32 low 18",
                    p + "avg fps 84, detected fps 90, high 0, low 50, originalCurrLevel 11, "
                        "originalNewLevel 10",
                    p + "avg fps 80, detected fps 80, high 0, low 100, originalCurrLevel 11, "
                        "originalNewLevel 10",
                    p + "changed 3 fps is 80, high 0 low 100"));
}

}  // namespace
}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "tests/detect/EstimatorModels.h"

#include <cutils/properties.h>
#include <gtest/gtest.h>

#include <random>

#include "detect/FpsDetector.h"
#include "detect/FpsMonitor.h"
#include "sim/FrameStream.h"
#include "tests/support/LogCapture.h"

namespace KVT {
namespace {

constexpr int64_t kAbsurd[] = {0, -5, 1'999'999, 66'666'667, 1'000'000'000, int64_t{1} << 61};
constexpr int64_t kJitters[] = {1, 1, 2, 200'000, 1'500'000, 4'000'000, 12'000'000};

/** Frames of one pattern, their lengths in steps of `grain` from `offset`. */
struct Stretch {
    int frames;
    FramePattern pattern;
    int64_t grain = 1;
    int64_t offset = 0;
};

Stretch AnyStretch(std::mt19937_64& random) {
    const auto below = [&random](int64_t end) {
        return static_cast<int64_t>(random() % static_cast<uint64_t>(end));
    };
    const auto oneOf = [&](const auto& values) {
        return values[below(static_cast<int64_t>(std::size(values)))];
    };
    const int64_t periods[] = {oneOf(kAbsurd),
                               8'000'000 + below(50'000'000),
                               1'000'000'000 / (14 + below(87)),
                               1'000'000'000 / (14 + below(87)),
                               oneOf(LevelModel::kBoundaries),
                               oneOf(LevelModel::kBoundaries) + 1};
    const auto frames = static_cast<int>(below(below(4) == 0 ? 1000 : 120));
    Stretch stretch = {frames, {oneOf(periods), below(oneOf(kJitters)), 0, 0}};
    const int64_t kind = below(6);
    if (kind == 0) {
        stretch.pattern.swingNs = below(9'000'000);
    } else if (kind == 1) {
        stretch.pattern.dropPerMille = static_cast<int32_t>(below(400));
    } else if (kind == 2) {
        // Few different lengths, so that bounds fall on lengths that occur; and close to 65 fps,
        // where one frame more or less in the mean makes a difference.
        stretch.grain = below(3) == 0 ? 1 : 2'000'000;
        stretch.offset = 15'384'615 - 7 * stretch.grain;
        stretch.pattern = {7 * stretch.grain, below(4) * stretch.grain, 0,
                           static_cast<int32_t>(below(100))};
    }
    return stretch;
}

void ExpectTheModelsAnswers(uint64_t seed) {
    std::mt19937_64 random(seed);
    FrameStream lengths(seed);
    FpsDetector detector;
    FpsMonitor monitor;
    LevelModel levelModel;
    StatisticalModel statisticalModel;
    for (int frame = 0; frame < 5000;) {
        const Stretch stretch = AnyStretch(random);
        if (random() % 10 == 0) {  // another game
            detector.Clear();
            monitor.Clear();
            levelModel.Clear();
            statisticalModel.Clear();
        }
        for (int i = 0; i < stretch.frames; ++i, ++frame) {
            const int64_t length =
                stretch.offset + lengths.next(stretch.pattern) / stretch.grain * stretch.grain;
            ASSERT_EQ(detector.UpdateFps(length), levelModel.UpdateFps(length)) << frame;
            ASSERT_EQ(detector.GetDetectedFps(), levelModel.GetDetectedFps()) << frame;
            ASSERT_EQ(monitor.UpdateFps(length), statisticalModel.UpdateFps(length)) << frame;
            ASSERT_EQ(monitor.GetDetectedFps(), statisticalModel.GetDetectedFps()) << frame;
        }
    }
}

/** With the log on, the monitor always filters frame by frame; otherwise it mostly takes sums. */
TEST(EstimatorModels, GiveTheEstimatorsAnswersWhateverIsLogged) {
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

}  // namespace
}  // namespace KVT

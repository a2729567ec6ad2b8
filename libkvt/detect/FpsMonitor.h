// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <queue>
#include <vector>

#include "detect/FrameTime.h"

namespace KVT {

/**
 * The statistical estimator: a game's frame rate from the mean of a three-sigma filtered sample.
 *
 * Every 20 frames it looks at the last five windows of 20 frames. It is quick to rise, judged on
 * the newest 40 frames, and slow to fall: the same lower rate, judged on all 100 frames, has to be
 * seen six evaluations running. Results are 0, 20, 25 .. 60, 70, 80 or 90 fps; starts at 20.
 *
 * Frame times are nanoseconds. Not locked: one caller at a time. Never allocates in UpdateFps.
 */
class FpsMonitor {
  public:
    FpsMonitor();

    /** Starts anew, at 20 fps: another game. When the next unchanged result is due stays. */
    void Clear();

    /**
     * Takes the length of one more frame.
     *
     * @return true when a result is due: the rate has changed, or at the latest after 100 frames
     */
    bool UpdateFps(int64_t frameTime) {
        ValidTimeval(frameTime);
        mFrameTimes[mFrameCount] = static_cast<int32_t>(frameTime);
        return ++mFrameCount == mFrameTimes.size() && EvaluateSample();
    }

    int32_t GetDetectedFps() const { return mCurrentFps; }

    // The steps of an evaluation.

    /** Clamps to kMinFrameNs..kMaxFrameNs. */
    void ValidTimeval(int64_t& frameTime) const { frameTime = ClampFrameNs(frameTime); }

    /** Judges the complete windows; true when the rate has changed. */
    bool ComputeFps();

    /**
     * The three-sigma filter.
     *
     * @param windows frame times, oldest window first
     * @param skip how many of the oldest windows take no part
     * @param out receives, in order, what lies within three standard deviations of the mean; a
     *        sample without any spread passes whole
     * @param stdev receives the sample standard deviation before filtering, ns
     */
    void GetFilteredData(std::queue<std::vector<int64_t>> windows, int skip,
                         std::vector<int64_t>& out, double& stdev) const;

  private:
    static constexpr size_t kWindowFrames = 20;
    static constexpr size_t kWindows = 5;

    /** What an evaluation needs to know of a complete window; exact, so that windows add up. */
    struct WindowSums {
        int64_t sum;
        uint64_t squares;
        int32_t shortest;
        int32_t longest;
    };

    /** What is left of a sample after filtering, as far as the rate depends on it. */
    struct FilteredSample {
        int64_t sum;
        int32_t size;
        double stdev;  // before filtering, ns
    };

    bool EvaluateSample();
    void SumCompleteWindows();
    FilteredSample FilterWindows(size_t skip) const;
    std::optional<FilteredSample> FilterBySums(size_t skip) const;

    const bool mLogSwitch;

    // The last windows, oldest first, and the one being filled: one stretch, so that a sample is
    // contiguous. A frame time fits 32 bits after clamping.
    size_t mFrameCount = 0;
    std::array<int32_t, kWindows * kWindowFrames> mFrameTimes{};

    std::array<WindowSums, kWindows> mWindowSums{};
    size_t mSummedWindows = 0;

    int32_t mCurrentFps;
    int32_t mLastCalFps;
    int32_t mLastCalFpsCount = 0;
    int32_t mQuietEvaluations = 0;  // since the last result
};

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "detect/FpsMonitor.h"

#include <cutils/properties.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

#include "common/Log.h"

namespace KVT {
namespace {

constexpr int32_t kInitialFps = 20;
// Above this the newest frames are too irregular to judge.
constexpr double kMaxStdevNs = 5'000'000.0;
constexpr size_t kWindowsBeforeNewest = 3;
constexpr int32_t kEvaluationsToFall = 6;
constexpr int32_t kEvaluationsPerResult = 5;
// How close to a decision the quick filter leaves it to the full one. Its rounding errors are below
// a millionth of a nanosecond.
constexpr double kDoubtNs = 0.001;

/** Measured rates up to and including `below` - 1 count as `fps`. */
struct Quantum {
    int32_t below;
    int32_t fps;
};
constexpr Quantum kQuanta[] = {{6, 0},   {23, 20}, {28, 25}, {33, 30}, {38, 35}, {43, 40},
                               {48, 45}, {53, 50}, {58, 55}, {65, 60}, {78, 70}, {88, 80}};
constexpr int32_t kTopFps = 90;

int32_t Quantise(int32_t measuredFps) {
    for (const Quantum& quantum : kQuanta) {
        if (measuredFps < quantum.below) {
            return quantum.fps;
        }
    }
    return kTopFps;
}

int32_t RateOf(int64_t sumNs, int32_t frames) {
    if (frames == 0) {
        return Quantise(0);
    }
    const double meanNs = static_cast<double>(sumNs) / frames;
    return Quantise(static_cast<int32_t>(1'000'000'000.0 / meanNs));
}

/** Mean and three-sigma bound of a sample. */
struct Spread {
    double mean;
    double bound;  // three standard deviations
    double stdev;

    /** Oldest first, each square rounded before it is added: the order settles the last bits. */
    template <typename T>
    static Spread Of(const T* sample, size_t size) {
        int64_t sum = 0;
        for (size_t i = 0; i < size; ++i) {
            sum += sample[i];
        }
        const double mean = static_cast<double>(sum) / static_cast<double>(size);
        double squares = 0.0;
        for (size_t i = 0; i < size; ++i) {
            const double distance = static_cast<double>(sample[i]) - mean;
            const double square = distance * distance;
            squares += square;
        }
        const double bound = 3 * std::sqrt(squares / (static_cast<double>(size) - 1));
        return {mean, bound, bound / 3};
    }

    template <typename T>
    bool holds(T value) const {
        return bound == 0.0 || std::fabs(static_cast<double>(value) - mean) < bound;
    }
};

bool IsNearInteger(double positive) {
    const double fraction = positive - static_cast<double>(static_cast<int32_t>(positive));
    return fraction < kDoubtNs || fraction > 1 - kDoubtNs;
}

}  // namespace

FpsMonitor::FpsMonitor()
    : mLogSwitch(property_get_bool("persist.dynamicfps.logswitch", false)),
      mCurrentFps(kInitialFps),
      mLastCalFps(kInitialFps) {}

void FpsMonitor::Clear() {
    mFrameCount = 0;
    mSummedWindows = 0;
    mCurrentFps = kInitialFps;
    mLastCalFps = kInitialFps;
    mLastCalFpsCount = 0;
}

bool FpsMonitor::EvaluateSample() {
    const bool changed = ComputeFps();
    const bool due = changed || mQuietEvaluations + 1 == kEvaluationsPerResult;
    mQuietEvaluations = due ? 0 : mQuietEvaluations + 1;
    std::copy(mFrameTimes.begin() + kWindowFrames, mFrameTimes.end(), mFrameTimes.begin());
    std::copy(mWindowSums.begin() + 1, mWindowSums.end(), mWindowSums.begin());
    mFrameCount -= kWindowFrames;
    --mSummedWindows;
    return due;
}

void FpsMonitor::GetFilteredData(std::queue<std::vector<int64_t>> windows, int skip,
                                 std::vector<int64_t>& out, double& stdev) const {
    out.clear();
    std::vector<int64_t> sample;
    for (int number = 0; !windows.empty(); ++number, windows.pop()) {
        if (number >= skip) {
            sample.insert(sample.end(), windows.front().begin(), windows.front().end());
        }
    }
    if (sample.empty()) {
        stdev = 0.0;
        return;
    }
    const Spread spread = Spread::Of(sample.data(), sample.size());
    std::copy_if(sample.begin(), sample.end(), std::back_inserter(out),
                 [&spread](int64_t frameNs) { return spread.holds(frameNs); });
    stdev = spread.stdev;
}

void FpsMonitor::SumCompleteWindows() {
    for (; mSummedWindows < mFrameCount / kWindowFrames; ++mSummedWindows) {
        WindowSums sums = {0, 0, std::numeric_limits<int32_t>::max(), 0};
        const int32_t* window = mFrameTimes.data() + mSummedWindows * kWindowFrames;
        for (size_t i = 0; i < kWindowFrames; ++i) {
            const auto frame = static_cast<uint32_t>(window[i]);
            sums.sum += window[i];
            sums.squares += uint64_t{frame} * frame;
            sums.shortest = std::min(sums.shortest, window[i]);
            sums.longest = std::max(sums.longest, window[i]);
        }
        mWindowSums[mSummedWindows] = sums;
    }
}

/** The filter over the complete windows but the `skip` oldest. */
FpsMonitor::FilteredSample FpsMonitor::FilterWindows(size_t skip) const {
    if (mSummedWindows <= skip) {
        return {0, 0, 0.0};
    }
    if (!mLogSwitch) {  // the log shows the last digits of the deviation
        if (const auto filtered = FilterBySums(skip)) {
            return *filtered;
        }
    }
    const int32_t* sample = mFrameTimes.data() + skip * kWindowFrames;
    const size_t size = (mSummedWindows - skip) * kWindowFrames;
    const Spread spread = Spread::Of(sample, size);
    FilteredSample filtered = {0, 0, spread.stdev};
    for (size_t i = 0; i < size; ++i) {
        if (spread.holds(sample[i])) {
            filtered.sum += sample[i];
            ++filtered.size;
        }
    }
    return filtered;
}

/**
 * The same filter from the windows' sums, without a floating-point operation per frame.
 *
 * The deviation it finds may differ from the one summed up frame by frame in the last digits. That
 * matters only when a bound of the filter comes that close to a whole number of nanoseconds, which
 * a frame could have, or the deviation that close to its limit: then there is no answer.
 */
std::optional<FpsMonitor::FilteredSample> FpsMonitor::FilterBySums(size_t skip) const {
    int64_t sum = 0;
    uint64_t squares = 0;
    for (size_t i = skip; i < mSummedWindows; ++i) {
        sum += mWindowSums[i].sum;
        squares += mWindowSums[i].squares;
    }
    const size_t size = (mSummedWindows - skip) * kWindowFrames;
    // size^2 times the mean square distance. It is below 2^64, so wrapping on the way is harmless.
    const uint64_t scatter =
        size * squares - static_cast<uint64_t>(sum) * static_cast<uint64_t>(sum);
    if (scatter == 0) {
        return FilteredSample{sum, static_cast<int32_t>(size), 0.0};
    }
    const auto n = static_cast<double>(size);
    const double mean = static_cast<double>(sum) / n;
    const double stdev = std::sqrt(static_cast<double>(scatter) / (n * (n - 1)));
    const double lower = std::max(mean - 3 * stdev, 0.5);  // every frame is longer
    const double upper = mean + 3 * stdev;
    if (IsNearInteger(lower) || IsNearInteger(upper) || std::fabs(stdev - kMaxStdevNs) < kDoubtNs) {
        return std::nullopt;
    }

    const auto tooShort = static_cast<int32_t>(lower);
    const auto longest = static_cast<int32_t>(upper);
    FilteredSample filtered = {0, 0, stdev};
    for (size_t i = skip; i < mSummedWindows; ++i) {
        const WindowSums& sums = mWindowSums[i];
        if (sums.shortest > tooShort && sums.longest <= longest) {
            filtered.sum += sums.sum;
            filtered.size += static_cast<int32_t>(kWindowFrames);
            continue;
        }
        const int32_t* window = mFrameTimes.data() + i * kWindowFrames;
        for (size_t j = 0; j < kWindowFrames; ++j) {
            const bool held = window[j] > tooShort && window[j] <= longest;
            filtered.sum += held ? window[j] : 0;
            filtered.size += held ? 1 : 0;
        }
    }
    return filtered;
}

bool FpsMonitor::ComputeFps() {
    SumCompleteWindows();
    FilteredSample sample = FilterWindows(kWindowsBeforeNewest);
    if (mLogSwitch) {
        KVT_LOGI("FpsMonitor: new part dataAfterFilter size = %d stdev = %f", sample.size,
                 sample.stdev);
    }
    if (sample.stdev > kMaxStdevNs) {
        return false;
    }
    int32_t calFps = RateOf(sample.sum, sample.size);
    const bool up = calFps > mCurrentFps;
    if (up && mLogSwitch) {
        KVT_LOGI("FpsMonitor: up dataAfterFilter size = %d stdev = %f", sample.size, sample.stdev);
    }
    if (calFps < mCurrentFps) {
        sample = FilterWindows(0);
        calFps = RateOf(sample.sum, sample.size);
        if (mLogSwitch) {
            KVT_LOGI("FpsMonitor: down dataAfterFilter size = %d stdev = %f", sample.size,
                     sample.stdev);
        }
    }

    if (calFps >= mCurrentFps || calFps != mLastCalFps) {
        mLastCalFps = calFps;
        mLastCalFpsCount = 1;
        if (!up) {
            return false;
        }
    } else if (++mLastCalFpsCount < kEvaluationsToFall) {
        return false;
    } else if (mLogSwitch) {
        KVT_LOGI("FpsMonitor: lastCalFps = %d, lastCalFpsCount = %d", calFps, mLastCalFpsCount);
    }
    mCurrentFps = calFps;
    if (mLogSwitch) {
        KVT_LOGI("FpsMonitor: currentFps = %d calFps = %d", calFps, calFps);
    }
    return true;
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "detect/FpsDetector.h"

#include <cutils/properties.h>

#include <algorithm>

#include "common/Log.h"
#include "sync/Clock.h"

namespace KVT {
namespace {

constexpr int32_t kLevels = 12;
constexpr int32_t kTopLevel = kLevels - 1;
constexpr std::array<int32_t, kLevels> kLevelFps = {20, 25, 30, 35, 40, 45, 50, 55, 60, 70, 80, 90};
constexpr int32_t kLevelOf60Fps = 8;

// Thresholds on the 100 frames of two windows.
constexpr int32_t kFastFramesToClimb = 61;
constexpr int32_t kSlowFramesToDescend = 91;
constexpr int32_t kSlowFramesToDescendInTime = 51;
constexpr int32_t kRepeatsToDescendInTime = 5;

/**
 * The frame length that separates a level from the next faster one, in ns. It lies 45 % of the way
 * to the faster level below 60 fps and 55 % above, which draws results towards 60 fps. The near
 * level's share is computed in single precision, the sum in double: the truncated results below are
 * what everyone's frame rates have been judged by.
 */
constexpr int64_t BoundaryNs(int32_t level) {
    const float nearWeight = level < kLevelOf60Fps ? 0.55f : 0.45f;
    const double farWeight = level < kLevelOf60Fps ? 0.45f : 0.55f;
    const int64_t nearNs = kNsPerS / kLevelFps[static_cast<size_t>(level)];
    const int64_t farNs = kNsPerS / kLevelFps[static_cast<size_t>(level) + 1];
    const double nearShare = nearWeight * static_cast<float>(nearNs);
    const double farShare = farWeight * static_cast<double>(farNs);
    return static_cast<int64_t>(nearShare + farShare);
}

constexpr std::array<int64_t, kTopLevel> kBoundaryNs = {
    BoundaryNs(0), BoundaryNs(1), BoundaryNs(2), BoundaryNs(3), BoundaryNs(4), BoundaryNs(5),
    BoundaryNs(6), BoundaryNs(7), BoundaryNs(8), BoundaryNs(9), BoundaryNs(10)};
static_assert(kBoundaryNs[0] == 45499999 && kBoundaryNs[1] == 36999999 &&
                  kBoundaryNs[2] == 31190474 && kBoundaryNs[3] == 26964285 &&
                  kBoundaryNs[4] == 23749999 && kBoundaryNs[5] == 21222221 &&
                  kBoundaryNs[6] == 19181817 && kBoundaryNs[7] == 17499999 &&
                  kBoundaryNs[8] == 15357142 && kBoundaryNs[9] == 13303571 &&
                  kBoundaryNs[10] == 11736111,
              "the compiler's single precision is not IEEE 754's");

constexpr int32_t FrameNs(int64_t fps) {
    return fps == 0 ? 0 : static_cast<int32_t>(kNsPerS / fps);
}

/** Frames strictly shorter than this are faster than `fps`. */
constexpr int32_t FasterThanNs(int64_t fps) {
    return FrameNs(fps < 60 ? fps + 2 : fps + 5);
}

/** Frames strictly longer than this are slower than `fps`. */
constexpr int32_t SlowerThanNs(int64_t fps) {
    return FrameNs(fps < 61 ? fps - 3 : fps - 5);
}

template <typename T>
T PairMean(T first, T second) {
    const T sum = first + second;
    return sum < 2 ? 1 : sum / 2;
}

template <typename Lengths>
int32_t CountShorter(const Lengths& lengths, int32_t boundNs) {
    int32_t count = 0;
    for (const auto length : lengths) {
        count += length < boundNs ? 1 : 0;
    }
    return count;
}

template <typename Lengths>
int32_t CountLonger(const Lengths& lengths, int32_t boundNs) {
    int32_t count = 0;
    for (const auto length : lengths) {
        count += length > boundNs ? 1 : 0;
    }
    return count;
}

}  // namespace

FpsDetector::FpsDetector() : mLogSwitch(property_get_bool("persist.dynamicfps.logswitch", false)) {}

void FpsDetector::Clear() {
    mFrameCount = 0;
    mNextPair = 0;
    mWindowSum = 0;
    mCurrLevel = 0;
    mAvgFrameLen = 0;
    mHighAbnormalNum = 0;
    mLowAbnormalNum = 0;
    mStableCount = 0;
    mMoveRepeats = 0;
}

int32_t FpsDetector::FramePeriodToLevel(int period) const {
    const auto boundary = std::find_if(kBoundaryNs.begin(), kBoundaryNs.end(),
                                       [period](int64_t boundNs) { return boundNs < period; });
    return static_cast<int32_t>(boundary - kBoundaryNs.begin());
}

int32_t FpsDetector::LevelToFps(int level) const {
    return kLevelFps[static_cast<size_t>(std::clamp(level, 0, kTopLevel))];
}

void FpsDetector::FlattenFrameLen(std::vector<int64_t>& frameLens) const {
    for (size_t i = 1; i < frameLens.size(); i += 2) {
        frameLens[i - 1] = frameLens[i] = PairMean(frameLens[i - 1], frameLens[i]);
    }
}

int32_t FpsDetector::GetHighFpsAbnormalFrameNum(const std::vector<int64_t>& frameLens,
                                                int fps) const {
    return CountShorter(frameLens, FasterThanNs(fps));
}

int32_t FpsDetector::GetLowFpsAbnormalFrameNum(const std::vector<int64_t>& frameLens,
                                               int fps) const {
    return CountLonger(frameLens, SlowerThanNs(fps));
}

/** Flattens the full window over the older one's place, empties it and returns its sum. */
int64_t FpsDetector::CloseWindow() {
    int64_t sum = 0;
    for (size_t pair = 0; pair < kWindowPairs; ++pair) {
        const int32_t first = mFrameLens[2 * pair];
        const int32_t second = mFrameLens[2 * pair + 1];
        sum += first + second;
        mPairMeans[mNextPair + pair] = PairMean(first, second);
    }
    mNextPair = mNextPair == 0 ? kWindowPairs : 0;
    mFrameCount = 0;
    return sum;
}

bool FpsDetector::EvaluateWindow() {
    const int64_t olderSum = mWindowSum;
    mWindowSum = CloseWindow();
    mAvgFrameLen = mWindowSum / static_cast<int64_t>(kWindowFrames);
    Move move = {mCurrLevel, FramePeriodToLevel(static_cast<int>(mAvgFrameLen))};

    // A jump of two or more levels upwards is taken on this window alone.
    if (move.to <= move.from + 1) {
        if (olderSum == 0) {
            return false;
        }
        mAvgFrameLen = (olderSum + mWindowSum) / static_cast<int64_t>(2 * kWindowFrames);
        move.to = FramePeriodToLevel(static_cast<int>(mAvgFrameLen));
        // A descent is judged against the level just above the one proposed.
        const int32_t slowLevel = move.to >= move.from ? move.from : move.to + 1;
        // Each pair mean stands for two frames.
        mHighAbnormalNum = 2 * CountShorter(mPairMeans, FasterThanNs(LevelToFps(move.from)));
        mLowAbnormalNum = 2 * CountLonger(mPairMeans, SlowerThanNs(LevelToFps(slowLevel)));
    }

    const Reason reason = ApplyMove(move);
    Remember(move);
    const bool due = reason != Reason::kNone || mStableCount >= 1;
    mStableCount = due ? 0 : mStableCount + 1;
    if (mLogSwitch) {
        LogEvaluation(move, reason);
    }
    return due;
}

FpsDetector::Reason FpsDetector::ApplyMove(const Move& move) {
    if (move.to > move.from) {
        mCurrLevel = move.to;
        return Reason::kFasterMean;
    }
    if (move.to == move.from) {
        if (mHighAbnormalNum < kFastFramesToClimb || mHighAbnormalNum < mLowAbnormalNum) {
            return Reason::kNone;
        }
        mCurrLevel = std::min(move.to + 1, kTopLevel);
        return Reason::kFastFrames;
    }
    if (mLowAbnormalNum >= kSlowFramesToDescend) {
        mCurrLevel = move.to;
        return Reason::kSlowFrames;
    }
    if (mLowAbnormalNum >= kSlowFramesToDescendInTime && mMoveRepeats >= kRepeatsToDescendInTime &&
        mLastMove == move) {
        mCurrLevel = move.to;
        return Reason::kSlowForLong;
    }
    return Reason::kNone;
}

void FpsDetector::Remember(const Move& move) {
    mMoveRepeats = mMoveRepeats > 0 && mLastMove == move
                       ? std::min(mMoveRepeats + 1, kRepeatsToDescendInTime)
                       : 1;
    mLastMove = move;
}

void FpsDetector::LogEvaluation(const Move& move, Reason reason) const {
    KVT_LOGI(
        "AI-log: avg fps %d, detected fps %d, high %d, low %d, originalCurrLevel %d, "
        "originalNewLevel %d",
        static_cast<int>(kNsPerS / mAvgFrameLen), GetDetectedFps(), mHighAbnormalNum,
        mLowAbnormalNum, move.from, move.to);
    if (reason != Reason::kNone) {
        KVT_LOGI("AI-log: changed %d fps is %d, high %d low %d", static_cast<int>(reason),
                 GetDetectedFps(), mHighAbnormalNum, mLowAbnormalNum);
    }
}

}  // namespace KVT

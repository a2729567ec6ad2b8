// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "detect/FrameTime.h"

namespace KVT {

/**
 * The level estimator: a game's frame rate as one of twelve levels, 20 to 90 fps.
 *
 * It looks at the stream in windows of 50 frames, each judged together with the one before, and is
 * deliberately slow to move: it climbs at once when the mean does, climbs one level when most
 * frames beat the current rate, and descends only on strong evidence or on the same evidence six
 * times running. Starts at 20 fps.
 *
 * Frame lengths are nanoseconds. Not locked: one caller at a time. Never allocates in UpdateFps.
 */
class FpsDetector {
  public:
    FpsDetector();

    /** Starts anew, at 20 fps and without a past: another game. */
    void Clear();

    /**
     * Takes the length of one more frame.
     *
     * @return true when a result is due: the level has moved, or has held for another 100 frames
     */
    bool UpdateFps(int64_t frameLen) {
        ValidFrameLen(frameLen);
        mFrameLens[mFrameCount] = static_cast<int32_t>(frameLen);
        return ++mFrameCount == kWindowFrames && EvaluateWindow();
    }

    int32_t GetDetectedFps() const { return LevelToFps(mCurrLevel); }

    // The steps of an evaluation.

    /** Clamps to kMinFrameNs..kMaxFrameNs. */
    void ValidFrameLen(int64_t& frameLen) const { frameLen = ClampFrameNs(frameLen); }

    /** The level, 0..11, that a mean frame length of `period` ns belongs to. */
    int32_t FramePeriodToLevel(int period) const;

    /** Frames per second of a level; levels out of 0..11 count as the nearest one. */
    int32_t LevelToFps(int level) const;

    /** Replaces neighbours two by two with their mean: a short frame makes up for a long one. */
    void FlattenFrameLen(std::vector<int64_t>& frameLens) const;

    /** How many frames are faster than `fps` by more than a margin. */
    int32_t GetHighFpsAbnormalFrameNum(const std::vector<int64_t>& frameLens, int fps) const;

    /** How many frames are slower than `fps` by more than a margin. */
    int32_t GetLowFpsAbnormalFrameNum(const std::vector<int64_t>& frameLens, int fps) const;

  private:
    static constexpr size_t kWindowFrames = 50;
    static constexpr size_t kWindowPairs = kWindowFrames / 2;

    enum class Reason : int32_t { kNone, kFasterMean, kFastFrames, kSlowFrames, kSlowForLong };

    /** From which level to which one an evaluation proposed to go. */
    struct Move {
        int32_t from;
        int32_t to;
        bool operator==(const Move& other) const { return from == other.from && to == other.to; }
    };

    bool EvaluateWindow();
    int64_t CloseWindow();
    Reason ApplyMove(const Move& move);
    void Remember(const Move& move);
    void LogEvaluation(const Move& move, Reason reason) const;

    const bool mLogSwitch;

    // The window being filled. A frame length fits 32 bits after clamping, their sum does not.
    size_t mFrameCount = 0;
    std::array<int32_t, kWindowFrames> mFrameLens{};

    // The last two windows, flattened: means of neighbours, which is all that is counted. A window
    // is an even number of frames, so no pair spans two windows and their order does not matter.
    std::array<int32_t, 2 * kWindowPairs> mPairMeans{};
    size_t mNextPair = 0;
    int64_t mWindowSum = 0;  // of the newest complete window; 0: there is none

    int32_t mCurrLevel = 0;
    int64_t mAvgFrameLen = 0;
    int32_t mHighAbnormalNum = 0;
    int32_t mLowAbnormalNum = 0;
    int32_t mStableCount = 0;

    // The proposals of the past, of which it only matters how often the last one has been repeated.
    Move mLastMove = {0, 0};
    int32_t mMoveRepeats = 0;
};

}  // namespace KVT

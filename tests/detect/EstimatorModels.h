// SPDX-License-Identifier: Apache-2.0
// Both estimators as slow and plain as possible: whole windows, whole history.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <deque>
#include <utility>
#include <vector>

namespace KVT {

/** Frame lengths, oldest first; ns. */
using Lengths = std::vector<int64_t>;

inline int64_t SumOf(const Lengths& lengths) {
    int64_t sum = 0;
    for (const int64_t length : lengths) {
        sum += length;
    }
    return sum;
}

inline Lengths Joined(const std::deque<Lengths>& windows) {
    Lengths all;
    for (const Lengths& window : windows) {
        all.insert(all.end(), window.begin(), window.end());
    }
    return all;
}

class LevelModel {
  public:
    /** The longest frames of each level but the lowest; ns. */
    static constexpr int64_t kBoundaries[] = {45499999, 36999999, 31190474, 26964285,
                                              23749999, 21222221, 19181817, 17499999,
                                              15357142, 13303571, 11736111};

    void Clear() { *this = {}; }

    bool UpdateFps(int64_t length) {
        mFilling.push_back(std::clamp<int64_t>(length, 2'000'000, 66'666'666));
        return mFilling.size() == 50 && evaluate();
    }

    int32_t GetDetectedFps() const { return kFps[mLevel]; }

  private:
    static constexpr int32_t kFps[] = {20, 25, 30, 35, 40, 45, 50, 55, 60, 70, 80, 90};
    static int levelOf(int64_t period) {
        int level = 0;
        while (level < 11 && kBoundaries[level] >= period) {
            ++level;
        }
        return level;
    }

    bool evaluate() {
        const int before = mLevel;
        int proposed = levelOf(SumOf(mFilling) / 50);
        mWindows.push_back(std::exchange(mFilling, {}));
        if (proposed <= before + 1) {
            if (mWindows.size() < 2) {
                return false;
            }
            Lengths both = Joined(mWindows);
            proposed = levelOf(SumOf(both) / 100);
            for (size_t i = 0; i < both.size(); i += 2) {
                both[i] = both[i + 1] = (both[i] + both[i + 1]) / 2;
            }
            count(both, kFps[before], kFps[proposed >= before ? before : proposed + 1]);
        }
        if (mWindows.size() > 1) {
            mWindows.pop_front();
        }
        const bool changed = decide(before, proposed);
        mHistory.emplace_back(before, proposed);
        if (mHistory.size() > 5) {
            mHistory.pop_front();
        }
        mQuiet = changed || mQuiet == 1 ? 0 : mQuiet + 1;
        return mQuiet == 0;
    }

    void count(const Lengths& lengths, int32_t fastFps, int32_t slowFps) {
        const int64_t fast = 1'000'000'000 / (fastFps < 60 ? fastFps + 2 : fastFps + 5);
        const int64_t slow = 1'000'000'000 / (slowFps < 61 ? slowFps - 3 : slowFps - 5);
        mFast = mSlow = 0;
        for (const int64_t length : lengths) {
            mFast += length < fast ? 1 : 0;
            mSlow += length > slow ? 1 : 0;
        }
    }

    bool decide(int before, int proposed) {
        if (proposed > before) {
            mLevel = proposed;
            return true;
        }
        if (proposed == before) {
            const bool climb = mFast >= 61 && mFast >= mSlow;
            mLevel = climb ? std::min(before + 1, 11) : before;
            return climb;
        }
        const std::deque<std::pair<int, int>> fiveTimes(5, {before, proposed});
        const bool descend = mSlow >= 91 || (mSlow >= 51 && mHistory == fiveTimes);
        mLevel = descend ? proposed : before;
        return descend;
    }

    int mLevel = 0;
    int mFast = 0;
    int mSlow = 0;
    int mQuiet = 0;
    Lengths mFilling;
    std::deque<Lengths> mWindows;
    std::deque<std::pair<int, int>> mHistory;
};

class StatisticalModel {
  public:
    /** All but when the next unchanged rate is due. */
    void Clear() {
        const int quiet = mQuiet;
        *this = {};
        mQuiet = quiet;
    }

    bool UpdateFps(int64_t length) {
        mFilling.push_back(std::clamp<int64_t>(length, 2'000'000, 66'666'666));
        if (mFilling.size() < 20) {
            return false;
        }
        mWindows.push_back(std::exchange(mFilling, {}));
        if (mWindows.size() < 5) {
            return false;
        }
        const bool changed = evaluate();
        mWindows.pop_front();
        mQuiet = changed || mQuiet == 4 ? 0 : mQuiet + 1;
        return mQuiet == 0;
    }

    int32_t GetDetectedFps() const { return mFps; }

  private:
    static int32_t quantised(int32_t rate) {
        constexpr int32_t kRows[][2] = {{5, 0},   {22, 20}, {27, 25}, {32, 30}, {37, 35}, {42, 40},
                                        {47, 45}, {52, 50}, {57, 55}, {64, 60}, {77, 70}, {87, 80}};
        for (const auto& [last, fps] : kRows) {
            if (rate <= last) {
                return fps;
            }
        }
        return 90;
    }

    /** Filters the sample, and returns its deviation before that. */
    static double filter(Lengths& sample) {
        const auto size = static_cast<double>(sample.size());
        const double mean = static_cast<double>(SumOf(sample)) / size;
        double squares = 0;
        for (const int64_t length : sample) {
            const double distance = static_cast<double>(length) - mean;
            squares += distance * distance;
        }
        const double bound = 3 * std::sqrt(squares / (size - 1));
        const auto isFar = [&](int64_t length) {
            return bound > 0 && std::fabs(static_cast<double>(length) - mean) >= bound;
        };
        sample.erase(std::remove_if(sample.begin(), sample.end(), isFar), sample.end());
        return bound / 3;
    }

    static int32_t rateOf(const Lengths& sample) {
        const auto size = static_cast<double>(sample.size());
        return quantised(static_cast<int32_t>(1e9 / (static_cast<double>(SumOf(sample)) / size)));
    }

    bool evaluate() {
        Lengths newest = Joined({mWindows[3], mWindows[4]});
        if (filter(newest) > 5'000'000.0) {
            return false;
        }
        int32_t fps = rateOf(newest);
        const bool up = fps > mFps;
        if (fps < mFps) {
            Lengths all = Joined(mWindows);
            filter(all);
            fps = rateOf(all);
        }
        mTimes = fps < mFps && fps == mProposed ? mTimes + 1 : 1;
        mProposed = fps;
        if (!up && mTimes < 6) {
            return false;
        }
        mFps = fps;
        return true;
    }

    int32_t mFps = 20;
    int32_t mProposed = 20;
    int mTimes = 0;
    int mQuiet = 0;
    Lengths mFilling;
    std::deque<Lengths> mWindows;
};

}  // namespace KVT

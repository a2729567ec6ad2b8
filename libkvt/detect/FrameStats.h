// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "sync/Mutex.h"

namespace KVT {

/**
 * The frames that came, whatever became of them: whether a layer's frames arrive, all of them and
 * in order, is the first question when no rate is detected. Any thread; leaf lock.
 */
class FrameStats {
  public:
    struct Layer {
        std::string name;
        uint64_t frames = 0;
        /** Frames whose time was not after the one before. */
        uint64_t disordered = 0;
        int64_t lastTimestamp = 0;
    };
    struct Totals {
        uint64_t frames = 0;
        /** The one that sent last comes first. */
        std::vector<Layer> layers;
    };

    /** Layers that are remembered; a further one takes the place of the one silent for longest. */
    static constexpr size_t kMostLayers = 16;
    /** Names that agree in so many bytes are one layer here. */
    static constexpr size_t kLongestName = 128;

    void onFrame(const std::string& layerName, int64_t timestamp) EXCLUDES(mMutex);
    Totals totals() EXCLUDES(mMutex);

  private:
    Layer& recentLayer(const std::string& name) REQUIRES(mMutex);

    Mutex mMutex;
    Totals mTotals GUARDED_BY(mMutex);
};

}  // namespace KVT

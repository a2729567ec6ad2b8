// SPDX-License-Identifier: Apache-2.0
#include "detect/FrameStats.h"

#include <algorithm>

namespace KVT {

void FrameStats::onFrame(const std::string& layerName, int64_t timestamp) {
    MutexLock lock(mMutex);
    ++mTotals.frames;
    Layer& layer = recentLayer(layerName);
    if (layer.frames++ > 0 && timestamp <= layer.lastTimestamp) {
        ++layer.disordered;
    }
    layer.lastTimestamp = timestamp;
}

/** The layer of this name, which comes first from now on. */
FrameStats::Layer& FrameStats::recentLayer(const std::string& name) {
    std::vector<Layer>& layers = mTotals.layers;
    auto found = std::find_if(layers.begin(), layers.end(), [&name](const Layer& layer) {
        return name.compare(0, kLongestName, layer.name) == 0;
    });
    if (found == layers.end()) {
        if (layers.size() == kMostLayers) {
            layers.pop_back();
        }
        layers.push_back({name.substr(0, kLongestName)});
        found = layers.end() - 1;
    }
    std::rotate(layers.begin(), found, found + 1);
    return layers.front();
}

FrameStats::Totals FrameStats::totals() {
    MutexLock lock(mMutex);
    return mTotals;
}

}  // namespace KVT

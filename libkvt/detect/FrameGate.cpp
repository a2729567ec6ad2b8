// SPDX-License-Identifier: Apache-2.0
#include "detect/FrameGate.h"

#include "common/Dumper.h"
#include "detect/AppFpsDetect.h"
#include "detect/GameFpsDetect.h"
#include "detect/GameFpsHelper.h"
#include "state/PolicyState.h"

namespace KVT {

void FrameGate::onFrame(const std::string& layerName, int64_t timestamp, bool fullScreen) {
    mStats.onFrame(layerName, timestamp);
    if (!PolicyState::gameScene) {
        if (fullScreen) {
            AppFpsDetect::GetInstance()->UpdateTimestamp(timestamp);
        }
        return;
    }
    MutexLock lock(mFrameMutex);
    if (mTargetChange != PolicyState::foregroundChanges) {
        refreshTarget();
    }
    if (layerName.compare(0, mTargetLayer.size(), mTargetLayer) == 0) {
        GameFpsDetect::GetInstance()->ProcessLayerTimeInfo(layerName, timestamp);
    }
}

void FrameGate::refreshTarget() {
    mTargetChange = PolicyState::foregroundChanges;
    mTargetLayer.clear();
    GameFpsHelper::GetInstance()->SearchTargetLayer(PolicyState::CurrentPkgName(), mTargetLayer);
}

void FrameGate::dump(Dumper* dumper) {
    const FrameStats::Totals totals = mStats.totals();
    dumper->section("frames");
    dumper->value("received", totals.frames);
    dumper->section("layers");
    for (const FrameStats::Layer& layer : totals.layers) {
        dumper->value(layer.name, "received " + std::to_string(layer.frames) + " disordered " +
                                      std::to_string(layer.disordered) + " last " +
                                      SecondsText(layer.lastTimestamp));
    }
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "service/KVTService.h"
#include "sync/Mutex.h"

namespace KVT {

/** A service that only writes down which operations were called, as "SetLcdEvent(1)". */
class RecordingService : public KVTService {
  public:
    /** What the registration operations answer. */
    int32_t result = 0;

    std::vector<std::string> take() {
        MutexLock lock(mMutex);
        return std::exchange(mCalls, {});
    }

    int32_t RegisterListener(const android::sp<IKVTListener>& listener) override {
        note(listener == nullptr ? "RegisterListener(null)" : "RegisterListener");
        return result;
    }
    int32_t UnRegisterListener(const android::sp<IKVTListener>& listener) override {
        note(listener == nullptr ? "UnRegisterListener(null)" : "UnRegisterListener");
        return result;
    }
    void SendLayerTimeInfo(LayerTimeInfo& info) override {
        note("SendLayerTimeInfo(" + info.layerName + "," + std::to_string(info.timestamp) + "," +
             (info.flag ? "true" : "false") + ")");
    }
    void SetLcdEvent(int32_t event) override { note("SetLcdEvent", event); }
    void NotifyFrameRefresh(int64_t timestamp) override { note("NotifyFrameRefresh", timestamp); }
    void NotifyDisplayHotplugEvent(int32_t event) override { note("Hotplug", event); }
    void NotifyVirtualDisplayEvent(int32_t event) override { note("VirtualDisplay", event); }
    void NotifyGpuCompositionEvent(int32_t status) override { note("GpuComposition", status); }
    void ReportGameFps(int32_t fps) override { note("ReportGameFps", fps); }

  private:
    void note(const std::string& name, int64_t argument) {
        note(name + "(" + std::to_string(argument) + ")");
    }
    void note(std::string call) {
        MutexLock lock(mMutex);
        mCalls.push_back(std::move(call));
    }

    Mutex mMutex;
    std::vector<std::string> mCalls GUARDED_BY(mMutex);
};

}  // namespace KVT

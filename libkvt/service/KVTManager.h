// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/StrongPointer.h>

#include <atomic>
#include <cstdint>

#include "service/KVTListener.h"
#include "service/LayerTimeInfo.h"

namespace KVT {

/**
 * The service as a client process calls it: every call looks the service up anew, so that a
 * restarted service is found without any bookkeeping. Calls may come from any thread.
 */
class KVTManager {
  public:
    KVTManager() = delete;

    /**
     * Registers a listener for game frame rates, with a manager of its own: registered twice, it is
     * told twice. There is no way back but the service's end.
     *
     * @return the service's result (0 from another process), 3 without a service, -1 for null
     */
    static int32_t RegisterListener(const android::sp<KVTListener>& listener);

    static void SendLayerTimeInfo(LayerTimeInfo& info);
    /**
     * @param event 1 touch down, 0 touch up; a repetition of the last one is not sent, whether or
     *              not that one found the service
     */
    static void SetLcdEvent(int32_t event);
    /** @param timestamp when the screen's content was refreshed, ns of the monotonic clock */
    static void NotifyFrameRefresh(int64_t timestamp);
    /** @param event 1 external display connected, 0 disconnected */
    static void NotifyDisplayHotplugEvent(int32_t event);
    /** @param event 1 virtual display created, 0 removed */
    static void NotifyVirtualDisplayEvent(int32_t event);
    /** @param status 1 the compositor composes with the GPU, anything else: no longer */
    static void NotifyGpuCompositionEvent(int32_t status);

  private:
    static std::atomic<int32_t> sLastLcdEvent;
};

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IInterface.h>
#include <binder/Parcel.h>

#include <cstdint>

#include "service/IKVTListener.h"
#include "service/LayerTimeInfo.h"

namespace KVT {

/**
 * The service, as the compositor and the listeners see it. Published under the name "KVTService",
 * which is also its descriptor.
 */
class IKVTService : public android::IInterface {
  public:
    DECLARE_META_INTERFACE(KVTService)

    /** Adds a process that wants game frame rates. Through the proxy the result is always 0. */
    virtual int32_t RegisterListener(const android::sp<IKVTListener>& listener) = 0;
    /** Removes one again. Through the proxy the result is always 0. */
    virtual int32_t UnRegisterListener(const android::sp<IKVTListener>& listener) = 0;
    /** One frame of a layer. */
    virtual void SendLayerTimeInfo(LayerTimeInfo& info) = 0;
    /** @param event 1 touch down, 0 touch up */
    virtual void SetLcdEvent(int32_t event) = 0;
    /** @param timestamp when the screen's content was refreshed, ns of the monotonic clock */
    virtual void NotifyFrameRefresh(int64_t timestamp) = 0;
    /** @param event 1 external display connected, 0 disconnected */
    virtual void NotifyDisplayHotplugEvent(int32_t event) = 0;
    /** @param event 1 virtual display created, 0 removed */
    virtual void NotifyVirtualDisplayEvent(int32_t event) = 0;
    /** @param status 1 the compositor composes with the GPU, anything else: no longer */
    virtual void NotifyGpuCompositionEvent(int32_t status) = 0;
};

/**
 * Calls the service from another process. Every call is one-way: none waits, none reports whether
 * it arrived.
 */
class BpKVTService : public android::BpInterface<IKVTService> {
  public:
    explicit BpKVTService(const android::sp<android::IBinder>& remote)
        : android::BpInterface<IKVTService>(remote) {}

    int32_t RegisterListener(const android::sp<IKVTListener>& listener) override;
    int32_t UnRegisterListener(const android::sp<IKVTListener>& listener) override;
    void SendLayerTimeInfo(LayerTimeInfo& info) override;
    void SetLcdEvent(int32_t event) override;
    void NotifyFrameRefresh(int64_t timestamp) override;
    void NotifyDisplayHotplugEvent(int32_t event) override;
    void NotifyVirtualDisplayEvent(int32_t event) override;
    void NotifyGpuCompositionEvent(int32_t status) override;

  private:
    void sendInt32(uint32_t code, int32_t value);
};

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "detect/FrameGate.h"
#include "host/Gate.h"
#include "host/Listeners.h"
#include "host/StateOwners.h"
#include "service/KVTService.h"

namespace KVT {

class EventQueue;
class ServiceInfo;

/** The service that is published: hands each event to its subsystem and keeps the listeners. */
class KVTServiceImpl : public KVTService {
  public:
    /**
     * @param uids   who the phone's processes run as
     * @param events acts on events, which happens in place without one; outlives the service
     * @param info   the beginning of the dump, if there is one; outlives the service
     */
    explicit KVTServiceImpl(const CallerUids& uids = {}, EventQueue* events = nullptr,
                            ServiceInfo* info = nullptr);

    int32_t RegisterListener(const android::sp<IKVTListener>& listener) override;
    int32_t UnRegisterListener(const android::sp<IKVTListener>& listener) override;
    void SendLayerTimeInfo(LayerTimeInfo& info) override;
    void SetLcdEvent(int32_t event) override;
    void NotifyFrameRefresh(int64_t timestamp) override;
    void NotifyDisplayHotplugEvent(int32_t event) override;
    void NotifyVirtualDisplayEvent(int32_t event) override;
    void NotifyGpuCompositionEvent(int32_t status) override;
    void ReportGameFps(int32_t fps) override;

    /**
     * Serves what the gate admits. Refuses a dump that is sent one-way with INVALID_OPERATION:
     * nobody waits for it, and the events of this object, which are one-way, would wait for its
     * reader.
     */
    android::status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                                 uint32_t flags = 0) override;

    /**
     * Writes the state of the service as sections of name=value lines, to a pipe, socket or file.
     * @return as WriteToReader() (ReaderWrite.h)
     */
    android::status_t dump(int fd, const android::Vector<android::String16>& args) override;

    size_t listenerCount() { return mListeners->count(); }

  private:
    Gate mGate;
    StateOwners mOwners;
    EventQueue* const mEvents;
    ServiceInfo* const mInfo;
    FrameGate mFrameGate;
    const android::sp<Listeners> mListeners = new Listeners;
};

}  // namespace KVT

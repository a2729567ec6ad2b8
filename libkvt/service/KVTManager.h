// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/StrongPointer.h>

#include <atomic>
#include <cstdint>

#include "service/KVTListener.h"
#include "service/LayerTimeInfo.h"
#include "service/RegistrationResult.h"

namespace KVT {

/**
 * The service as a client process calls it, from any thread.
 *
 * Every call looks the service up anew, so that a restarted one is found without any bookkeeping.
 * The lookup waits for the service manager's answer; the call that follows is one-way and waits for
 * nobody. The calls of one thread arrive in their order.
 *
 * An event without a service is dropped, with one error line in the log. One that was on its way
 * when the service died, or that the service has no room for, is dropped without a word.
 */
class KVTManager {
  public:
    KVTManager() = delete;

    /**
     * Registers a listener for game frame rates; KVTListener says when there are any.
     *
     * They come in on binder threads, so the process must have some: unless the framework has
     * started them, call android::ProcessState::self()->startThreadPool() once. Without, the result
     * here is the same, and nothing is ever heard.
     *
     * Each registration has a manager of its own: registered twice, a listener is told twice. There
     * is no way back but the service's end, which takes the registration with it: link to the death
     * of the service's binder, and register again with the next service.
     *
     * @return REGISTRATION_NO_SERVICE, REGISTRATION_NULL_LISTENER, or the service's own result,
     *         which from another process is REGISTRATION_DONE whether or not the call arrived
     */
    static int32_t RegisterListener(const android::sp<KVTListener>& listener);

    /**
     * Sends one frame. While a game is in front, send those of the layer that shows the game, and
     * of no other: the service picks a layer out only for the games that GameFpsHelper knows.
     * Otherwise send those of a full-screen surface, with the flag; the rest means nothing.
     */
    static void SendLayerTimeInfo(LayerTimeInfo& info);
    /**
     * From one thread, so that it is clear which touch was the last.
     *
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

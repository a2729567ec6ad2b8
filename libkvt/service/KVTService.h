// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "service/BnKVTService.h"

namespace KVT {

/**
 * What a service host derives its service class from. The host
 * - calls SetPaths, if its files are not where the phone's are,
 * - calls FpsCommon::Init, once, before anybody can send an event,
 * - gives its object to GameFpsDetect::AttachService, and publishes it as IKVTService::descriptor.
 *
 * Its class keeps the listeners and hands on the rest, on any number of binder threads:
 * - frames to GameFpsDetect while FpsCommon::gameScene, those of the game's layer alone
 *   (GameFpsHelper) and one at a time; otherwise the times of those with the flag to AppFpsDetect,
 * - touches to AppDynamicFps, while FpsCommon::appDynamicSwitch,
 * - the times of refreshes to FrameRefreshDetect, and the scenes to FpsCommon.
 */
class KVTService : public BnKVTService {
  public:
    /**
     * Passes a game's frame rate on to every registered listener: none in its first 121 s, then the
     * highest so far, then every change. Called with no lock of the library held; must not block on
     * a listener.
     *
     * @param fps at least 60
     */
    virtual void ReportGameFps(int32_t fps) = 0;
};

}  // namespace KVT

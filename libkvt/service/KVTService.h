// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "detect/GameFpsReporter.h"
#include "service/BnKVTService.h"

namespace KVT {

/**
 * What a service host derives its service class from: the interface, and who tells the listeners.
 * The host
 * - calls SetPaths, if its files are not where the phone's are,
 * - calls FpsCommon::Init, once, before anybody can send an event,
 * - gives its object to GameFpsDetect::AttachService, and publishes it as IKVTService::descriptor.
 *
 * Its class keeps the listeners and hands on the rest, on any number of binder threads:
 * - frames to a FrameGate, which knows those that count,
 * - touches to AppDynamicFps, while FpsCommon::appDynamicSwitch,
 * - the times of refreshes to FrameRefreshDetect, and the scenes to FpsCommon.
 */
class KVTService : public BnKVTService, public GameFpsReporter {
  public:
    using BnKVTService::BnKVTService;
};

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "detect/FrameStats.h"
#include "sync/Mutex.h"

namespace KVT {

class Dumper;

/**
 * Where the compositor's frames come in: those of the layer that counts for the game in front go
 * to GameFpsDetect, one at a time; outside games, those of a full-screen surface to AppFpsDetect.
 * Any thread.
 */
class FrameGate {
  public:
    /**
     * @param timestamp ns of the monotonic clock
     * @param fullScreen the layer is a full-screen surface of an application's own
     */
    void onFrame(const std::string& layerName, int64_t timestamp, bool fullScreen)
        EXCLUDES(mFrameMutex);

    /** The sections "frames" and "layers". */
    void dump(Dumper* dumper);

  private:
    void refreshTarget() REQUIRES(mFrameMutex);

    FrameStats mStats;

    /** Before GameFpsDetect's own locks. */
    Mutex mFrameMutex;
    /** The foreground game's layer, name up to the '#' before a counter; empty when any will do. */
    std::string mTargetLayer GUARDED_BY(mFrameMutex);
    uint32_t mTargetChange GUARDED_BY(mFrameMutex) = UINT32_MAX;
};

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace KVT {

/**
 * What the compositor is told. Best effort throughout: without a compositor nothing happens and
 * nothing is logged. It is looked up anew each time, since it may have been restarted. Any thread.
 */
class CompositorNotices {
  public:
    CompositorNotices() = delete;

    /** Whether the panel's rate can be switched at all. */
    static void NotifyIsDynamicFreq(bool supported);
    /** Whether the touch strategy wants touches. */
    static void NotifyAppDynamicFpsModeToSF(bool on);
    /** @param notGame 1 the new package is no game, 0 it is one */
    static void NotifyNewAppOpenedToSF(int32_t notGame);
    /**
     * @param fps      new panel rate in Hz
     * @param highRate threshold that goes with 90 Hz; all other rates have the compositor's own
     */
    static void NotifyParticalComposeThresholdToSF(int32_t fps, int32_t highRate);
    /** GPU-composition parameters of the configuration file. Times in seconds, as in the file. */
    static void NotifyCompositionParamsToSF(bool on, int32_t accumTime, int32_t accumCount,
                                            int32_t penaltyTime);
    /** Makes the compositor draw a frame, and waits for it. */
    static void ForceRefreshFrame();
};

}  // namespace KVT

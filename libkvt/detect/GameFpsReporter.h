// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/RefBase.h>

#include <cstdint>

namespace KVT {

/** What detection sees of the service: someone who tells the listeners. */
class GameFpsReporter : public virtual android::RefBase {
  public:
    /**
     * Passes a game's frame rate on to every registered listener: none in its first 121 s, then the
     * highest so far, then every change. Called in the middle of a frame: must not hand in another,
     * nor block on a listener.
     *
     * @param fps at least 60
     */
    virtual void ReportGameFps(int32_t fps) = 0;
};

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace KVT {

/**
 * Whoever follows the panel's changes. Called in the middle of a change, with its lock held: must
 * not come back for the panel.
 */
class RateObserver {
  public:
    /** The panel does not show the new rate yet: it switches with the next frame. */
    virtual void onFrameNeeded() = 0;
    /** The panel shows the rate, in Hz, that was asked for; not always another one than before. */
    virtual void onRateSet(int32_t fps) = 0;

  protected:
    ~RateObserver() = default;
};

}  // namespace KVT

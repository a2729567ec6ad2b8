// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "detect/ActivityTimestamp.h"

namespace KVT {

/** Whether the screen is being redrawn at all; fed by the compositor's frame-refresh notices. */
class FrameRefreshDetect : public ActivityTimestamp {
  public:
    static FrameRefreshDetect* GetInstance();

    /** Whether the last frame refresh is less than 200 ms old. */
    bool IsFrameRefreshActive() const;
};

}  // namespace KVT

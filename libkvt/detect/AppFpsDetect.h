// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "detect/ActivityTimestamp.h"

namespace KVT {

/** Whether an application draws a full-screen SurfaceView of its own, as video players do. */
class AppFpsDetect : public ActivityTimestamp {
  public:
    static AppFpsDetect* GetInstance();

    /** Whether the last full-screen SurfaceView frame is less than 1 s old. */
    bool IsFullSurfaceViewActive() const;
};

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/StrongPointer.h>

#include <cstdint>

#include "sync/Condition.h"

namespace KVT {

/**
 * Reports the panel's refresh rate to the performance service: at once when it changes and every
 * 10 s, except while a game is in front. Any thread; the report is sent with the mutex held.
 */
class LcdFpsMonitor {
  public:
    static LcdFpsMonitor* GetInstance();

    /** Starts the check thread; once. @return the platform's status */
    int32_t StartCheckFpsThread();

    /** @param rate the rate the panel was set to, Hz */
    void SetLcdRefreshRate(int32_t rate) EXCLUDES(mMutex);

    /** One step of the check thread. */
    void CheckLcdFps() EXCLUDES(mMutex);

  private:
    class CheckLcdFpsThread;

    LcdFpsMonitor();
    ~LcdFpsMonitor();

    Mutex mMutex;
    Condition mCond;
    int32_t mLcdRefreshRate GUARDED_BY(mMutex) = 0;

    android::sp<CheckLcdFpsThread> mCheckThread;
};

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/StrongPointer.h>

#include <atomic>
#include <cstdint>

#include "sync/Condition.h"

namespace KVT {

/**
 * The touch strategy for applications: 90 Hz under the user's finger, 60 Hz again once the finger
 * is lifted and the screen has come to rest (200 ms without a refresh), 5 s after the lift at most.
 *
 * Between a touch-up and the drop the check thread looks every 200 ms; otherwise it waits for a
 * touch-up. Nothing that happens between two of its steps is lost, and nothing stale acts: a finger
 * on the screen voids an earlier lift, and a lift voids the touches and resets before it.
 *
 * Any thread. The panel is set with the strategy's mutex held.
 */
class AppDynamicFps {
  public:
    static AppDynamicFps* GetInstance();

    /** Starts the check thread; once. @return the platform's status */
    int32_t StartCheckFpsThread();

    /** @param event 1 touch-down, 0 touch-up; others are recorded only */
    void SetLcdEvent(int32_t event) EXCLUDES(mMutex);

    /** Gives up the claim on 90 Hz and leaves the panel as it is, until the next touch-down. */
    void Reset() EXCLUDES(mMutex);

    /** One step of the check thread. */
    void CheckFps() EXCLUDES(mMutex);

  private:
    class CheckFpsThread;

    AppDynamicFps();
    ~AppDynamicFps();

    void TouchDown() REQUIRES(mMutex);
    void DropUnlessRefreshing() REQUIRES(mMutex);

    /** "persist.lcd.switch": false ignores touch altogether. */
    const bool mLcdSwitch;
    std::atomic<int32_t> mLcdEvent{0};

    Mutex mMutex;
    Condition mTouchUpCond;
    Condition mTouchDownCond;
    /** When the check thread saw the last touch-up, monotonic ns. */
    int64_t mTouchUpTime GUARDED_BY(mMutex) = 0;
    /** This strategy holds the panel at 90 Hz. */
    bool mIsHighFps GUARDED_BY(mMutex) = false;
    /** The check thread has seen the touch-up that belongs to the present claim. */
    bool mIsLifted GUARDED_BY(mMutex) = false;

    android::sp<CheckFpsThread> mCheckThread;
};

}  // namespace KVT

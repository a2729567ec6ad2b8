// SPDX-License-Identifier: Apache-2.0
#include "strategy/AppDynamicFps.h"

#include <cutils/properties.h>

#include "common/Codes.h"
#include "common/Log.h"
#include "detect/AppFpsDetect.h"
#include "detect/FrameRefreshDetect.h"
#include "display/LcdFpsControl.h"
#include "strategy/CheckThread.h"
#include "sync/Clock.h"

namespace KVT {
namespace {

constexpr int32_t kTouchUp = 0;
constexpr int32_t kTouchDown = 1;

/** How often the screen is looked at after a touch-up. */
constexpr int64_t kPollNs = 200 * kNsPerMs;
/** How long a screen that goes on scrolling keeps the high rate after a touch-up. */
constexpr int64_t kMaxHighNs = 5 * kNsPerS;

}  // namespace

class AppDynamicFps::CheckFpsThread : public CheckThread<AppDynamicFps, &AppDynamicFps::CheckFps> {
};

AppDynamicFps* AppDynamicFps::GetInstance() {
    static AppDynamicFps instance;
    return &instance;
}

AppDynamicFps::AppDynamicFps()
    : mLcdSwitch(property_get_bool("persist.lcd.switch", true)), mCheckThread(new CheckFpsThread) {
    // The check thread uses them to the end, so they are to be destroyed later.
    FrameRefreshDetect::GetInstance();
    AppFpsDetect::GetInstance();
}

AppDynamicFps::~AppDynamicFps() {
    mCheckThread->Stop([this] {
        Reset();
        MutexLock lock(mMutex);
        mTouchUpCond.close();
        mTouchDownCond.close();
    });
}

int32_t AppDynamicFps::StartCheckFpsThread() {
    return mCheckThread->run("KVT::AppDynamicFps CheckFpsThread");
}

void AppDynamicFps::SetLcdEvent(int32_t event) {
    if (!mLcdSwitch) {
        return;
    }
    mLcdEvent = event;
    MutexLock lock(mMutex);
    if (event == kTouchDown) {
        TouchDown();
    } else if (event == kTouchUp && mIsHighFps) {
        mTouchUpCond.signal();
    }
}

void AppDynamicFps::TouchDown() {
    mTouchUpCond.clear();
    mIsLifted = false;
    if (mIsHighFps) {
        mTouchDownCond.signal();
    } else if (!AppFpsDetect::GetInstance()->IsFullSurfaceViewActive()) {
        LcdFpsControl::SetLcdFps(kHighHz, {Cause::kTouchDown});
        mIsHighFps = true;
        KVT_LOGI("AppDynamicFps: set lcd to 90Hz - touch down");
    }
}

void AppDynamicFps::Reset() {
    MutexLock lock(mMutex);
    mIsHighFps = false;
    mIsLifted = false;
    mTouchDownCond.signal();
}

void AppDynamicFps::CheckFps() {
    MutexLock lock(mMutex);
    if (mIsLifted && !mTouchDownCond.waitUntil(mMutex, MonotonicNow() + kPollNs)) {
        DropUnlessRefreshing();
        return;
    }
    mTouchUpCond.wait(mMutex);
    mTouchUpTime = MonotonicNow();
    mIsLifted = mIsHighFps;
    mTouchDownCond.clear();
}

void AppDynamicFps::DropUnlessRefreshing() {
    const int64_t elapsed = MonotonicNow() - mTouchUpTime;
    if (elapsed <= kMaxHighNs && FrameRefreshDetect::GetInstance()->IsFrameRefreshActive()) {
        return;
    }
    LcdFpsControl::SetLcdFps(kLowHz, {Cause::kTouchRest});
    mIsHighFps = false;
    mIsLifted = false;
    const int64_t elapsedMs = elapsed / kNsPerMs;
    KVT_LOGI("AppDynamicFps: set lcd to 60Hz - touch up after %.1fs",
             static_cast<double>(elapsedMs) / 1000.0);
}

}  // namespace KVT

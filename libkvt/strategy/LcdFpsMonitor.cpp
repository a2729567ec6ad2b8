// SPDX-License-Identifier: Apache-2.0
#include "strategy/LcdFpsMonitor.h"

#include <ikoraperf/IkoraPerfClient.h>

#include "common/Log.h"
#include "state/PolicyState.h"
#include "strategy/CheckThread.h"
#include "sync/Clock.h"

namespace KVT {
namespace {

constexpr int64_t kResendNs = 10 * kNsPerS;

}  // namespace

class LcdFpsMonitor::CheckLcdFpsThread
    : public CheckThread<LcdFpsMonitor, &LcdFpsMonitor::CheckLcdFps> {};

LcdFpsMonitor* LcdFpsMonitor::GetInstance() {
    static LcdFpsMonitor instance;
    return &instance;
}

LcdFpsMonitor::LcdFpsMonitor() : mCheckThread(new CheckLcdFpsThread) {}

LcdFpsMonitor::~LcdFpsMonitor() {
    mCheckThread->Stop([this] {
        MutexLock lock(mMutex);
        mCond.signal();
    });
}

int32_t LcdFpsMonitor::StartCheckFpsThread() {
    // Named like the others, although its class is not.
    return mCheckThread->run("KVT::LcdFpsMonitor CheckFpsThread");
}

void LcdFpsMonitor::SetLcdRefreshRate(int32_t rate) {
    MutexLock lock(mMutex);
    if (rate != mLcdRefreshRate) {
        mLcdRefreshRate = rate;
        mCond.signal();
    }
}

void LcdFpsMonitor::CheckLcdFps() {
    MutexLock lock(mMutex);
    const bool changed = mCond.waitUntil(mMutex, MonotonicNow() + kResendNs);
    if (PolicyState::gameScene || mCheckThread->IsStopping()) {
        return;
    }
    SendCurrentFps(mLcdRefreshRate);
    KVT_LOGI("LcdFpsMonitor: send lcd fps %d to sched %s", mLcdRefreshRate, changed ? "v0" : "v1");
}

}  // namespace KVT

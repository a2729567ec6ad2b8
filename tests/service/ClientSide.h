// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IServiceManager.h>

#include <algorithm>
#include <vector>

#include "service/IKVTListener.h"
#include "sync/Clock.h"
#include "sync/Condition.h"
#include "sync/Mutex.h"
#include "tests/support/RecordingService.h"

namespace KVT {

/** A service that also keeps its listeners. */
class ListenedService : public RecordingService {
  public:
    int32_t RegisterListener(const android::sp<IKVTListener>& listener) override {
        MutexLock lock(mMutex);
        mListeners.push_back(listener);
        mArrival.signal();
        return RecordingService::RegisterListener(listener);
    }
    int32_t UnRegisterListener(const android::sp<IKVTListener>& listener) override {
        MutexLock lock(mMutex);
        const auto found = std::find(mListeners.begin(), mListeners.end(), listener);
        if (found != mListeners.end()) {
            mListeners.erase(found);
        }
        return RecordingService::UnRegisterListener(listener);
    }
    void ReportGameFps(int32_t fps) override {
        for (const android::sp<IKVTListener>& listener : listeners()) {
            listener->NotifyGameFpsToAps(fps);
        }
    }

    std::vector<android::sp<IKVTListener>> listeners() {
        MutexLock lock(mMutex);
        return mListeners;
    }
    /** Waits until it has so many listeners; false when it never does. */
    bool awaitListeners(size_t count) {
        constexpr int64_t kPatienceNs = 20 * kNsPerS;  // a JVM under a sanitizer is slow
        const int64_t deadline = MonotonicNow() + kPatienceNs;
        MutexLock lock(mMutex);
        while (mListeners.size() < count) {
            if (!mArrival.waitUntil(mMutex, deadline)) {
                return false;
            }
        }
        return mListeners.size() == count;
    }
    /** What the death of the service means to those it held. */
    void dropListeners() {
        MutexLock lock(mMutex);
        mListeners.clear();
    }

  private:
    Mutex mMutex;
    Condition mArrival;
    std::vector<android::sp<IKVTListener>> mListeners GUARDED_BY(mMutex);
};

inline void Publish(const android::sp<android::IBinder>& service) {
    android::defaultServiceManager()->addService(android::String16("KVTService"), service);
}

}  // namespace KVT

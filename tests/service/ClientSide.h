// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IServiceManager.h>

#include <algorithm>
#include <vector>

#include "service/KVTListener.h"
#include "sync/Mutex.h"
#include "tests/support/RecordingService.h"

namespace KVT {

/** A service that also keeps its listeners. */
class ListenedService : public RecordingService {
  public:
    int32_t RegisterListener(const android::sp<IKVTListener>& listener) override {
        MutexLock lock(mMutex);
        mListeners.push_back(listener);
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
    /** What the death of the service means to those it held. */
    void dropListeners() {
        MutexLock lock(mMutex);
        mListeners.clear();
    }

  private:
    Mutex mMutex;
    std::vector<android::sp<IKVTListener>> mListeners GUARDED_BY(mMutex);
};

/** A binder that can only be reached by transactions, as if it were in another process. */
class RemoteStandIn : public android::BBinder {
  public:
    explicit RemoteStandIn(const android::sp<android::IBinder>& target) : mTarget(target) {}

  protected:
    android::status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                                 uint32_t flags) override {
        return mTarget->transact(code, data, reply, flags);
    }

  private:
    const android::sp<android::IBinder> mTarget;
};

inline void Publish(const android::sp<android::IBinder>& service) {
    android::defaultServiceManager()->addService(android::String16("KVTService"), service);
}

/** A listener that writes down what it is told. */
class RecordingListener : public KVTListener {
  public:
    void NotifyGameFpsToAps(int32_t fps) override { reports.push_back(fps); }

    std::vector<int32_t> reports;
};

}  // namespace KVT

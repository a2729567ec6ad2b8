// SPDX-License-Identifier: Apache-2.0
#include "peers/AiScheduler.h"

#include <cstdio>
#include <utility>

#include "common/Log.h"

namespace KVT {
namespace {

constexpr char kInstance[] = "zrsched";
constexpr int32_t kJsonMessage = 1;
constexpr size_t kMessageBytes = 48;

}  // namespace

AiScheduler* AiScheduler::GetInstance() {
    // Never destroyed: check threads and binder threads use it until the very end.
    static auto* const instance = new AiScheduler;
    return instance;
}

/** Looks the scheduler up and keeps what was found, be it nothing. */
android::sp<AiScheduler::ISched> AiScheduler::find() {
    const android::sp<ISched> found = ISched::tryGetService(kInstance);
    android::sp<ISched> previous = found;  // released without the lock
    MutexLock lock(mMutex);
    std::swap(mSched, previous);
    return found;
}

void AiScheduler::sendTarget(int32_t fps) {
    android::sp<ISched> sched;
    {
        MutexLock lock(mMutex);
        sched = mSched;
    }
    if (sched == nullptr) {
        sched = find();
    }
    if (sched == nullptr) {
        KVT_LOGE("GameFpsDetect: SendTargetFpsToAiSched could not find AISched service");
        return;
    }
    char message[kMessageBytes];
    const int written = snprintf(message, sizeof(message), "{\"kvtFPS\":\"%d\"}", fps);
    if (written < 0 || static_cast<size_t>(written) >= sizeof(message)) {
        KVT_LOGE("GameFpsDetect: SendTargetFpsToAiSched write data error");
        return;
    }
    if (!sched->sendMessage(kJsonMessage, message, written + 1).isOk()) {
        KVT_LOGE("GameFpsDetect: SendTargetFpsToAiSched sent msg failed");
        find();
    }
}

}  // namespace KVT

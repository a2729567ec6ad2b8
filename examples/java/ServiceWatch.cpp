// SPDX-License-Identifier: Apache-2.0
// The native half of GameFpsPrinter.java: what the framework's own classes do for a process on a
// phone.
#include <binder/IServiceManager.h>
#include <binder/ProcessState.h>
#include <jni.h>

#include <chrono>
#include <future>
#include <thread>

namespace {

using android::IBinder;
using android::sp;

class End : public IBinder::DeathRecipient {
  public:
    void binderDied(const android::wp<IBinder>&) override { mCame.set_value(); }
    void await() { mCame.get_future().wait(); }

  private:
    std::promise<void> mCame;
};

// For the one thread that waits.
sp<IBinder> g_service;
sp<End> g_end;

}  // namespace

extern "C" {

JNIEXPORT void JNICALL Java_GameFpsPrinter_startBinderThreadPool(JNIEnv*, jclass) {
    android::ProcessState::self()->startThreadPool();
}

JNIEXPORT void JNICALL Java_GameFpsPrinter_awaitService(JNIEnv*, jclass) {
    for (;; std::this_thread::sleep_for(std::chrono::seconds(1))) {
        const auto manager = android::defaultServiceManager();
        g_service =
            manager == nullptr ? nullptr : manager->checkService(android::String16("KVTService"));
        g_end = new End;
        if (g_service != nullptr && g_service->linkToDeath(g_end) == android::OK) {
            return;
        }
    }
}

JNIEXPORT void JNICALL Java_GameFpsPrinter_awaitServiceEnd(JNIEnv*, jclass) {
    g_end->await();
}

}  // extern "C"

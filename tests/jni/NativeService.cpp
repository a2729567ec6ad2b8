// SPDX-License-Identifier: Apache-2.0
// The native half of NativeService.java: a service in the JVM's own process.
#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "jni/KVTService_jni.h"
#include "sync/Clock.h"
#include "sync/Condition.h"
#include "tests/service/ClientSide.h"
#include "tests/support/LogCapture.h"

namespace KVT {
namespace {

constexpr int64_t kPatienceNs = 20'000'000'000;  // a JVM under a sanitizer is slow

class AwaitedService : public ListenedService {
  public:
    int32_t RegisterListener(const android::sp<IKVTListener>& listener) override {
        const int32_t status = ListenedService::RegisterListener(listener);
        MutexLock lock(mArrivalMutex);
        mArrival.signal();
        return status;
    }

    bool await(size_t count) {
        const int64_t deadline = MonotonicNow() + kPatienceNs;
        MutexLock lock(mArrivalMutex);
        while (listeners().size() < count) {
            if (!mArrival.waitUntil(mArrivalMutex, deadline)) {
                return false;
            }
        }
        return listeners().size() == count;
    }

  private:
    Mutex mArrivalMutex;
    Condition mArrival;
};

android::sp<AwaitedService> gService;
LogCapture* gLog = nullptr;

}  // namespace
}  // namespace KVT

extern "C" {

JNIEXPORT void JNICALL Java_NativeService_publish(JNIEnv*, jclass) {
    KVT::gLog = new KVT::LogCapture;
    KVT::gService = new KVT::AwaitedService;
    KVT::Publish(KVT::gService);
}

JNIEXPORT jboolean JNICALL Java_NativeService_awaitListeners(JNIEnv*, jclass, jint count) {
    return KVT::gService->await(static_cast<size_t>(count)) ? JNI_TRUE : JNI_FALSE;
}

JNIEXPORT jint JNICALL Java_NativeService_listeners(JNIEnv*, jclass) {
    return static_cast<jint>(KVT::gService->listeners().size());
}

JNIEXPORT jint JNICALL Java_NativeService_unregistrations(JNIEnv*, jclass) {
    const std::vector<std::string> calls = KVT::gService->take();
    return static_cast<jint>(std::count(calls.begin(), calls.end(), "UnRegisterListener"));
}

JNIEXPORT void JNICALL Java_NativeService_reportOnNativeThread(JNIEnv* env, jclass,
                                                               jintArray rates) {
    std::vector<jint> values(static_cast<size_t>(env->GetArrayLength(rates)));
    env->GetIntArrayRegion(rates, 0, static_cast<jsize>(values.size()), values.data());
    std::thread([&values] {
        for (const jint fps : values) {
            KVT::gService->ReportGameFps(fps);
        }
    }).join();
}

JNIEXPORT void JNICALL Java_NativeService_report(JNIEnv*, jclass, jint fps) {
    KVT::gService->ReportGameFps(fps);
}

JNIEXPORT jint JNICALL Java_NativeService_reportToBridge(JNIEnv*, jclass, jint fps) {
    return KVT::HandleReportStallEvent(KVT::GetCurrentThreadEnv(), fps);
}

JNIEXPORT jint JNICALL Java_NativeService_takeErrors(JNIEnv* env, jclass, jstring line) {
    const char* text = env->GetStringUTFChars(line, nullptr);
    const std::vector<std::string> lines = KVT::gLog->take();
    const auto count =
        std::count(lines.begin(), lines.end(), "E/KVTService_jni: jni: " + std::string(text));
    env->ReleaseStringUTFChars(line, text);
    return static_cast<jint>(count);
}

}  // extern "C"

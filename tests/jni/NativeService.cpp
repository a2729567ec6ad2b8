// SPDX-License-Identifier: Apache-2.0
// The native half of NativeService.java: a service in the JVM's own process.
#include <cstdlib>
#include <thread>
#include <vector>

#include "jni/KVTService_jni.h"
#include "tests/service/ClientSide.h"

namespace KVT {
namespace {

android::sp<ListenedService> gService;

/** The bridge registers on a thread of its own. */
void Report(int32_t fps) {
    if (!gService->awaitListeners(1)) {
        abort();
    }
    gService->ReportGameFps(fps);
}

}  // namespace
}  // namespace KVT

extern "C" {

JNIEXPORT void JNICALL Java_NativeService_publish(JNIEnv*, jclass) {
    KVT::gService = new KVT::ListenedService;
    KVT::Publish(KVT::gService);
}

JNIEXPORT void JNICALL Java_NativeService_reportOnNativeThread(JNIEnv* env, jclass,
                                                               jintArray rates) {
    std::vector<jint> values(static_cast<size_t>(env->GetArrayLength(rates)));
    env->GetIntArrayRegion(rates, 0, static_cast<jsize>(values.size()), values.data());
    std::thread([&values] {
        for (const jint fps : values) {
            KVT::Report(fps);
        }
    }).join();
}

JNIEXPORT void JNICALL Java_NativeService_report(JNIEnv*, jclass, jint fps) {
    KVT::Report(fps);
}

}  // extern "C"

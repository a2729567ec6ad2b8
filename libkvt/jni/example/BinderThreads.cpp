// SPDX-License-Identifier: Apache-2.0
// The native half of GameFpsPrinter.java.
#include <binder/ProcessState.h>
#include <jni.h>

extern "C" JNIEXPORT void JNICALL Java_GameFpsPrinter_startBinderThreadPool(JNIEnv*, jclass) {
    android::ProcessState::self()->startThreadPool();
}

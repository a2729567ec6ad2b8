// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <jni.h>

#include <cstdint>

#include "service/KVTListener.h"

// The bridge between the service and the Java class com.norvik.android.zraps.ApsKVTAdapter: its two
// native methods register a listener, whose reports go to the static method "setGameFps".

namespace KVT {

/** Passes reports on to Java, on whatever thread they come. */
class KVTGameFpsListener : public KVTListener {
  public:
    /** Attaches the thread to the VM at its first report; it stays attached until it ends. */
    void NotifyGameFpsToAps(int32_t fps) override;
};

/**
 * Calls "setGameFps" of the adapter's class.
 *
 * An exception that it throws is left pending.
 *
 * @param env of this thread; null when there is none
 * @return 0, or -1 without an environment, an adapter or the method
 */
int32_t HandleReportStallEvent(JNIEnv* env, int32_t fps);

/** Environment of this thread, which it attaches if need be; null without a VM. */
JNIEnv* GetCurrentThreadEnv();

}  // namespace KVT

extern "C" {

/**
 * Registers the process's listener, on a thread of its own, unless there is one.
 *
 * Registering and unregistering at the same time from several threads is the caller's to avoid.
 */
JNIEXPORT void JNICALL
Java_com_norvik_android_zraps_ApsKVTAdapter_nativeKVTRegisterListener(JNIEnv* env, jobject thiz);

/**
 * Lets go of the process's listener, so that the next registration makes another. The service keeps
 * the old one, which goes on reporting.
 */
JNIEXPORT void JNICALL
Java_com_norvik_android_zraps_ApsKVTAdapter_nativeKVTUnRegisterListener(JNIEnv* env, jobject thiz);

}  // extern "C"

// SPDX-License-Identifier: Apache-2.0
#include "jni/KVTService_jni.h"

#include <android/log.h>

#include <atomic>
#include <system_error>
#include <thread>

#include "service/KVTManager.h"
#include "sync/Mutex.h"

#define KVT_JNI_LOGE(...) __android_log_print(ANDROID_LOG_ERROR, "KVTService_jni", __VA_ARGS__)

namespace KVT {
namespace {

using android::sp;

std::atomic<JavaVM*> g_jvm{nullptr};

/** The adapter that called first. Its class is the one that is reported to, for good. */
std::atomic<jobject> g_obj{nullptr};
/** Serialises the setting of g_obj; it is read without. */
Mutex g_mutex;

Mutex g_listenerMutex;
sp<KVTGameFpsListener> g_listener GUARDED_BY(g_listenerMutex);

void KeepAdapter(JNIEnv* env, jobject adapter) {
    MutexLock lock(g_mutex);
    if (g_obj == nullptr) {
        g_obj = env->NewGlobalRef(adapter);
    }
}

void RegisterCurrentListener() {
    sp<KVTGameFpsListener> listener;
    {
        MutexLock lock(g_listenerMutex);
        listener = g_listener;
    }
    KVTManager::RegisterListener(listener);
}

/** So that the Java caller does not wait for the service. */
void StartRegistration() {
    try {
        std::thread(RegisterCurrentListener).detach();
    } catch (const std::system_error& error) {
        // The text depends on the C++ library; callers know this one.
        throw std::system_error(error.code(), "thread constructor failed");
    }
}

}  // namespace

void KVTGameFpsListener::NotifyGameFpsToAps(int32_t fps) {
    JNIEnv* env = GetCurrentThreadEnv();
    // setGameFps may have thrown at this thread's last report. A native thread has no Java caller
    // to take the exception, and with one pending almost every call into the VM is forbidden: some
    // VMs end the process. It is printed and dropped only here, before the next call, so that a
    // Java caller, where there is one, has had it first.
    if (env != nullptr && env->ExceptionCheck()) {
        env->ExceptionDescribe();
        env->ExceptionClear();
    }
    HandleReportStallEvent(env, fps);
}

int32_t HandleReportStallEvent(JNIEnv* env, int32_t fps) {
    const jobject adapter = g_obj;
    if (env == nullptr || adapter == nullptr) {
        KVT_JNI_LOGE("jni: javaZrKVTScene is NULL");
        return -1;
    }
    const jclass adapterClass = env->GetObjectClass(adapter);
    if (adapterClass == nullptr) {
        KVT_JNI_LOGE("jni: javaZrKVTScene is NULL");
        return -1;
    }
    const jmethodID setGameFps = env->GetStaticMethodID(adapterClass, "setGameFps", "(I)V");
    if (setGameFps == nullptr) {
        KVT_JNI_LOGE("jni: setGameFps is NULL");
        return -1;
    }
    env->CallStaticVoidMethod(adapterClass, setGameFps, fps);
    env->DeleteLocalRef(adapterClass);
    return 0;
}

JNIEnv* GetCurrentThreadEnv() {
    JavaVM* vm = g_jvm;
    if (vm == nullptr) {
        return nullptr;
    }
    JNIEnv* env = nullptr;
    if (vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr) != JNI_OK ||
        env == nullptr) {
        KVT_JNI_LOGE("jni: AttachCurrentThread failed");
        return nullptr;
    }
    return env;
}

}  // namespace KVT

using KVT::KVTGameFpsListener;
using KVT::MutexLock;

jint JNI_OnLoad(JavaVM* vm, void*) {
    JNIEnv* env = nullptr;
    if (vm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_1_6) != JNI_OK) {
        KVT_JNI_LOGE("jni: JNI version mismatch error");
        return JNI_ERR;
    }
    KVT::g_jvm = vm;
    return JNI_VERSION_1_6;
}

void Java_com_norvik_android_zraps_ApsKVTAdapter_nativeKVTRegisterListener(JNIEnv* env,
                                                                           jobject thiz) {
    bool isNew = false;
    {
        MutexLock lock(KVT::g_listenerMutex);
        if (KVT::g_listener == nullptr) {
            KVT::g_listener = new KVTGameFpsListener;
            isNew = true;
        }
    }
    if (isNew) {
        KVT::StartRegistration();
    } else {
        KVT_JNI_LOGE("jni: kvt has registered listener");
    }
    KVT::KeepAdapter(env, thiz);
}

void Java_com_norvik_android_zraps_ApsKVTAdapter_nativeKVTUnRegisterListener(JNIEnv* env,
                                                                             jobject thiz) {
    android::sp<KVTGameFpsListener> released;
    {
        MutexLock lock(KVT::g_listenerMutex);
        released = KVT::g_listener;
        KVT::g_listener = nullptr;
    }
    KVT::KeepAdapter(env, thiz);
}

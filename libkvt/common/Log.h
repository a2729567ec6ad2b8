// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/log.h>

// All lines of the library have one tag in the system log; the texts are part of its interface.
#define KVT_LOGD(...) __android_log_print(ANDROID_LOG_DEBUG, "KVTService", __VA_ARGS__)
#define KVT_LOGI(...) __android_log_print(ANDROID_LOG_INFO, "KVTService", __VA_ARGS__)
#define KVT_LOGW(...) __android_log_print(ANDROID_LOG_WARN, "KVTService", __VA_ARGS__)
#define KVT_LOGE(...) __android_log_print(ANDROID_LOG_ERROR, "KVTService", __VA_ARGS__)

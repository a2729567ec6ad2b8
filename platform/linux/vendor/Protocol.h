// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>

#include <cstdint>

/**
 * How the phone's hardware and vendor services are reached on Linux: each is a binder service under
 * its full name, called with the codes below, without an interface token. A text is a String8.
 */
namespace KVT::vendor {

inline constexpr const char* kDisplayService =
    "vendor.norvik.hardware.zrdisplay@1.0::IDisplay/default";
inline constexpr const char* kSchedService = "vendor.norvik.hardware.zrsched@1.0::ISched/zrsched";
inline constexpr const char* kDisplayEngineService = "DisplayEngineService";
inline constexpr const char* kPerfService = "IKoraPerfService";
inline constexpr const char* kGameSdkService = "IKoraSdkService";

enum DisplayCode : uint32_t {
    kDisplayHasVersion11 = android::IBinder::FIRST_CALL_TRANSACTION,  // -> bool
    kDisplayGetFps,                                                   // int32 -> int32 code, text
    kDisplaySetFps,                                                   // int32 index -> int32 code
    kDisplayFrameDrawn,                                               // from the compositor
};

enum SchedCode : uint32_t {
    kSchedSendMessage = android::IBinder::FIRST_CALL_TRANSACTION,  // int32 type, text, int32 length
};

enum DisplayEngineCode : uint32_t {
    kDisplayEngineSetFrameRate = android::IBinder::FIRST_CALL_TRANSACTION,  // text; one-way
};

enum PerfCode : uint32_t {
    kPerfSendCurrentFps = android::IBinder::FIRST_CALL_TRANSACTION,  // int32 Hz; one-way
};

enum GameSdkCode : uint32_t {
    kGameSdkRegister = android::IBinder::FIRST_CALL_TRANSACTION,  // binder, text -> int32 result
};

}  // namespace KVT::vendor

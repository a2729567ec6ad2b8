// SPDX-License-Identifier: Apache-2.0
#include "service/KVTGameSdkListener.h"

#include <ikorasdk/IkoraSdk.h>

#include <new>

#include "common/Log.h"
#include "service/IKoraCallback.h"

namespace KVT {

bool KVTGameSdkListener::RegisterGameSdkCallback(const char* name) {
    const android::sp<IKoraCallbackImp> callback = new (std::nothrow) IKoraCallbackImp;
    if (name == nullptr || callback == nullptr) {
        KVT_LOGI("KVTGameSdkListener: RegisterGameSdkCallback fail, nullptr");
        return false;
    }
    if (iKoraSdkRegisterGameCallbck(android::IInterface::asBinder(callback), name) == 0) {
        KVT_LOGI("KVTGameSdkListener: RegisterGameSdkCallback fail, return code 0");
        return false;
    }
    KVT_LOGI("KVTGameSdkListener: RegisterGameSdkCallback Success");
    return true;
}

}  // namespace KVT

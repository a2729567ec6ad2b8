// SPDX-License-Identifier: Apache-2.0
#include "display/DisplayService.h"

#include "common/Fatal.h"
#include "common/Log.h"

namespace android {

ANDROID_SINGLETON_STATIC_INSTANCE(DisplayService)

namespace {

constexpr uint64_t kDeathCookie = 0x1234;

}  // namespace

DisplayService::DisplayService() {
    KVT::MutexLock hold(lock);
    ConnectLocked();
}

void DisplayService::ConnectLocked() {
    using vendor::norvik::hardware::zrdisplay::V1_0::IDisplay;
    const sp<IDisplay> oldest = IDisplay::tryGetService("default", false);
    if (oldest == nullptr) {
        KVT_LOGE("DisplayService: display hidl service isn't supported!");
        return;
    }
    const auto narrowed = DisplayService::IDisplay::castFrom(oldest, false);
    if (!narrowed.isOk()) {
        KVT_FATAL("display service: castFrom: %s", narrowed.description().c_str());
    }
    service = narrowed;
    if (service == nullptr) {
        KVT_LOGE("DisplayService: cast IDisplayV1_1 fail");
        return;
    }
    const auto linked = service->linkToDeath(deathRecipient, kDeathCookie);
    if (!linked.isOk()) {
        KVT_FATAL("display service: linkToDeath: %s", linked.description().c_str());
    }
}

sp<DisplayService::IDisplay> DisplayService::GetDisplayService() {
    KVT::MutexLock hold(lock);
    if (service == nullptr) {
        ConnectLocked();
    }
    return service;
}

void DisplayService::DisplayServiceDied() {
    KVT::MutexLock hold(lock);
    service.clear();
    deathRecipient.clear();
}

}  // namespace android

// SPDX-License-Identifier: Apache-2.0
// What the compositor is told. Best effort throughout: without a compositor nothing happens and
// nothing is logged. It is looked up anew each time, since it may have been restarted.
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>

#include <atomic>

#include "display/LcdFpsControl.h"
#include "policy/FpsCommon.h"

namespace KVT {
namespace {

using android::IBinder;
using android::Parcel;
using android::sp;
using android::String16;

enum CompositorCode : uint32_t {
    kForceRefreshFrame = 30,
    kIsDynamicFreq = 7011,
    kAppDynamicFpsMode = 7012,
    kNewAppOpened = 7013,
    kCompositionParams = 7014,
    kParticalComposeThreshold = 7015,
};

// The compositor's own default, which goes with every rate but the high one.
constexpr int32_t kLowRateComposeThreshold = 12;

/** How often a notice is sent, and so whether it may be lost. */
enum class Sent { kOnce, kOften };

/**
 * The compositor, waited for when it is just starting. One that was waited for in vain is waited
 * for again only with what is sent once, until it is back, or every event would take that long.
 */
sp<IBinder> FindCompositor(Sent sent) {
    static const String16 name("SurfaceFlinger");
    static std::atomic<bool> missing{false};
    const sp<android::IServiceManager> manager = android::defaultServiceManager();
    if (manager == nullptr) {
        return nullptr;
    }
    const bool wait = sent == Sent::kOnce || !missing;
    sp<IBinder> compositor = wait ? manager->getService(name) : manager->checkService(name);
    missing = compositor == nullptr;
    return compositor;
}

template <typename WriteBody>
void Send(uint32_t code, uint32_t flags, Sent sent, WriteBody writeBody) {
    static const String16 interface("android.ui.ISurfaceComposer");
    const sp<IBinder> compositor = FindCompositor(sent);
    if (compositor == nullptr) {
        return;
    }
    Parcel data;
    Parcel reply;
    data.writeInterfaceToken(interface);
    writeBody(data);
    compositor->transact(code, data, &reply, flags);
}

}  // namespace

void FpsCommon::NotifyIsDynamicFreq() {
    Send(kIsDynamicFreq, IBinder::FLAG_ONEWAY, Sent::kOnce,
         [](Parcel& data) { data.writeBool(LcdFpsControl::GetNewSchemeSupported()); });
}

void FpsCommon::NotifyAppDynamicFpsModeToSF(bool on) {
    Send(kAppDynamicFpsMode, IBinder::FLAG_ONEWAY, Sent::kOften,
         [on](Parcel& data) { data.writeBool(on); });
}

void FpsCommon::NotifyNewAppOpenedToSF(int32_t notGame) {
    Send(kNewAppOpened, IBinder::FLAG_ONEWAY, Sent::kOften,
         [notGame](Parcel& data) { data.writeInt32(notGame); });
}

void FpsCommon::NotifyParticalComposeThresholdToSF(int32_t fps) {
    const int32_t threshold =
        fps == kHighHz ? tables.partialComposeThreshold : kLowRateComposeThreshold;
    Send(kParticalComposeThreshold, IBinder::FLAG_ONEWAY, Sent::kOften,
         [threshold](Parcel& data) { data.writeInt32(threshold); });
}

void FpsCommon::NotifyCompositionParamsToSF(int32_t accumTime, int32_t accumCount,
                                            int32_t penaltyTime) {
    Send(kCompositionParams, IBinder::FLAG_ONEWAY, Sent::kOnce, [=](Parcel& data) {
        data.writeBool(tables.gpuCompositionSwitch);
        data.writeInt32(accumTime);
        data.writeInt32(accumCount);
        data.writeInt32(penaltyTime);
    });
}

void FpsCommon::ForceRefreshFrame() {
    Send(kForceRefreshFrame, 0, Sent::kOften, [](Parcel&) {});
}

}  // namespace KVT

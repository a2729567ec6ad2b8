// SPDX-License-Identifier: Apache-2.0
#include "peers/CompositorNotices.h"

#include <binder/IServiceManager.h>
#include <binder/Parcel.h>

#include <atomic>

#include "common/Codes.h"
#include "common/PeerHealth.h"

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
    // Never destroyed, like the interface below: check threads use them until the very end.
    static const auto& name = *new String16("SurfaceFlinger");
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

const String16& Interface() {
    static const auto& interface = *new String16("android.ui.ISurfaceComposer");
    return interface;
}

template <typename WriteBody>
void Send(uint32_t code, uint32_t flags, Sent sent, WriteBody writeBody) {
    PeerCall call(Peer::kCompositor);
    const sp<IBinder> compositor = FindCompositor(sent);
    call.found(compositor != nullptr);
    if (compositor == nullptr) {
        return;
    }
    Parcel data;
    Parcel reply;
    data.writeInterfaceToken(Interface());
    writeBody(data);
    call.done(compositor->transact(code, data, &reply, flags) == android::OK);
}

}  // namespace

void CompositorNotices::NotifyIsDynamicFreq(bool supported) {
    Send(kIsDynamicFreq, IBinder::FLAG_ONEWAY, Sent::kOnce,
         [supported](Parcel& data) { data.writeBool(supported); });
}

void CompositorNotices::NotifyAppDynamicFpsModeToSF(bool on) {
    Send(kAppDynamicFpsMode, IBinder::FLAG_ONEWAY, Sent::kOften,
         [on](Parcel& data) { data.writeBool(on); });
}

void CompositorNotices::NotifyNewAppOpenedToSF(int32_t notGame) {
    Send(kNewAppOpened, IBinder::FLAG_ONEWAY, Sent::kOften,
         [notGame](Parcel& data) { data.writeInt32(notGame); });
}

void CompositorNotices::NotifyParticalComposeThresholdToSF(int32_t fps, int32_t highRate) {
    Send(kParticalComposeThreshold, IBinder::FLAG_ONEWAY, Sent::kOften, [=](Parcel& data) {
        data.writeInt32(fps == kHighHz ? highRate : kLowRateComposeThreshold);
    });
}

void CompositorNotices::NotifyCompositionParamsToSF(bool on, int32_t accumTime, int32_t accumCount,
                                                    int32_t penaltyTime) {
    Send(kCompositionParams, IBinder::FLAG_ONEWAY, Sent::kOnce, [=](Parcel& data) {
        data.writeBool(on);
        data.writeInt32(accumTime);
        data.writeInt32(accumCount);
        data.writeInt32(penaltyTime);
    });
}

void CompositorNotices::ForceRefreshFrame() {
    Send(kForceRefreshFrame, 0, Sent::kOften, [](Parcel&) {});
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "sim/fakes/FakeCompositor.h"

#include <binder/IServiceManager.h>
#include <binder/Parcel.h>

#include "linux/vendor/Protocol.h"

namespace KVT::sim {
namespace {

constexpr uint32_t kForceRefreshFrame = 30;
constexpr uint32_t kAppDynamicFpsMode = 7012;

}  // namespace

std::vector<FakeCompositor::Call> FakeCompositor::takeCalls() {
    MutexLock lock(mMutex);
    std::vector<Call> calls;
    calls.swap(mCalls);
    return calls;
}

void FakeCompositor::drawFrame() {
    static const android::String16 displayService(vendor::kDisplayService);
    if (!mPanelIsElsewhere) {
        mPanel->onFrame();
        return;
    }
    const auto display = android::defaultServiceManager()->checkService(displayService);
    if (display != nullptr) {
        android::Parcel reply;
        display->transact(vendor::kDisplayFrameDrawn, android::Parcel(), &reply);
    }
}

android::status_t FakeCompositor::onTransact(uint32_t code, const android::Parcel& data,
                                             android::Parcel* reply, uint32_t flags) {
    static const android::String16 interface("android.ui.ISurfaceComposer");
    if (code == INTERFACE_TRANSACTION || code == DUMP_TRANSACTION) {
        return BBinder::onTransact(code, data, reply, flags);
    }
    {
        MutexLock lock(mMutex);
        mCalls.push_back({code, flags, {data.data(), data.data() + data.dataSize()}});
    }
    if (!data.enforceInterface(interface)) {
        return android::PERMISSION_DENIED;
    }
    if (code == kForceRefreshFrame) {
        drawFrame();
    } else if (code == kAppDynamicFpsMode) {
        const bool wanted = data.readBool();
        if (mWantsTouchEvents.exchange(wanted) != wanted) {
            mJournal->add(wanted ? "touch strategy on" : "touch strategy off");
        }
    }
    return android::OK;
}

}  // namespace KVT::sim

// SPDX-License-Identifier: Apache-2.0
#include "sim/fakes/FakeCompositor.h"

#include <binder/Parcel.h>

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
        mPanel->onFrame();
    } else if (code == kAppDynamicFpsMode) {
        const bool wanted = data.readBool();
        if (mWantsTouchEvents.exchange(wanted) != wanted) {
            mJournal->add(wanted ? "touch strategy on" : "touch strategy off");
        }
    }
    return android::OK;
}

}  // namespace KVT::sim

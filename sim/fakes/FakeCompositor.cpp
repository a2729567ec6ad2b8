// SPDX-License-Identifier: Apache-2.0
#include "sim/fakes/FakeCompositor.h"

#include <binder/IServiceManager.h>
#include <binder/Parcel.h>

#include <utility>

#include "linux/vendor/Protocol.h"

namespace KVT::sim {
namespace {

constexpr uint32_t kForceRefreshFrame = 30;
constexpr uint32_t kIsDynamicFreq = 7011;
constexpr uint32_t kAppDynamicFpsMode = 7012;
constexpr uint32_t kNewAppOpened = 7013;
constexpr uint32_t kCompositionParams = 7014;
constexpr uint32_t kParticalComposeThreshold = 7015;

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
    switch (code) {
        case kForceRefreshFrame:
            drawFrame();
            break;
        case kAppDynamicFpsMode: {
            const bool wanted = data.readBool();
            if (mWantsTouchEvents.exchange(wanted) != wanted) {
                mJournal->add(wanted ? "touch strategy on" : "touch strategy off");
            }
            break;
        }
        case kNewAppOpened:
            mJournal->add(data.readInt32() != 0 ? "compositor told of another application"
                                                : "compositor told of another game");
            break;
        case kIsDynamicFreq:
            noteChange(code, data.readBool() ? "compositor told that rates can change"
                                             : "compositor told that the rate is fixed");
            break;
        case kParticalComposeThreshold:
            noteChange(code, "compositor told to compose partially above " +
                                 std::to_string(data.readInt32()));
            break;
        case kCompositionParams: {
            const bool on = data.readBool();
            std::string text =
                std::string("compositor told to count its composition: ") + (on ? "on" : "off");
            for (int i = 0; i < 3; ++i) {
                text += ", " + std::to_string(data.readInt32());
            }
            noteChange(code, text);
            break;
        }
        default:
            break;
    }
    return android::OK;
}

void FakeCompositor::noteChange(uint32_t code, const std::string& notice) {
    MutexLock lock(mMutex);
    if (std::exchange(mNotices[code], notice) != notice) {
        mJournal->add(notice);
    }
}

}  // namespace KVT::sim

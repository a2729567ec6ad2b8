// SPDX-License-Identifier: Apache-2.0
#include "host/KVTServiceImpl.h"

#include <utils/String8.h>

#include <cstdlib>
#include <functional>
#include <utility>

#include "detect/FrameRefreshDetect.h"
#include "display/LcdFpsControl.h"
#include "host/Caller.h"
#include "host/EventQueue.h"
#include "host/Limits.h"
#include "host/RateHistory.h"
#include "host/ReaderWrite.h"
#include "host/ServiceInfo.h"
#include "host/TextDumper.h"
#include "policy/FpsCommon.h"
#include "service/RegistrationResult.h"
#include "strategy/AppDynamicFps.h"

namespace KVT {

using android::sp;

namespace {

/** Takes back what the dead have left in order with the events of the living. */
StateOwners::RunEvent InOrderWith(EventQueue* events) {
    if (events == nullptr) {
        return StateOwners::InPlace;
    }
    return [events](std::function<void()> event) {
        EventRunner::Event toRun;
        toRun.act = std::move(event);
        return events->run(std::move(toRun), false) == android::OK;
    };
}

}  // namespace

KVTServiceImpl::KVTServiceImpl(const CallerUids& uids, EventQueue* events, ServiceInfo* info)
    : KVTService(events),
      mGate(uids),
      mOwners(mGate.refusals(), InOrderWith(events)),
      mEvents(events),
      mInfo(info) {}

int32_t KVTServiceImpl::RegisterListener(const sp<IKVTListener>& listener) {
    if (listener == nullptr) {
        return REGISTRATION_NULL_LISTENER;
    }
    const uid_t caller = Caller::Current().uid;
    const bool isSelf = IInterface::asBinder(listener) == this;  // would hold itself for good
    if (isSelf || !mListeners->add(listener, caller, mGate.trusts(caller))) {
        mGate.refusals().add(caller, REGISTER_LISTENER,
                             isSelf ? "the service is no listener" : "too many listeners");
        return REGISTRATION_REFUSED;
    }
    return REGISTRATION_DONE;
}

int32_t KVTServiceImpl::UnRegisterListener(const sp<IKVTListener>& listener) {
    if (listener == nullptr) {
        return REGISTRATION_NULL_LISTENER;
    }
    mListeners->remove(IInterface::asBinder(listener));
    return REGISTRATION_DONE;
}

android::status_t KVTServiceImpl::onTransact(uint32_t code, const android::Parcel& data,
                                             android::Parcel* reply, uint32_t flags) {
    const Caller caller = Caller::Current();
    if (const android::status_t status = mGate.admit(caller.uid, code, data);
        status != android::OK) {
        return status;
    }
    if (code == DUMP_TRANSACTION && (flags & FLAG_ONEWAY) != 0) {
        return android::INVALID_OPERATION;
    }
    return mOwners.serve(caller, code, data,
                         [&] { return KVTService::onTransact(code, data, reply, flags); });
}

android::status_t KVTServiceImpl::dump(int fd, const android::Vector<android::String16>& args) {
    const std::string wanted = args.empty() ? "" : android::String8(args[0]).string();
    const uint64_t after =
        args.size() < 2 ? 0 : strtoull(android::String8(args[1]).string(), nullptr, 10);
    const auto gather = [this, &wanted, after] {
        TextDumper dumper;
        if (wanted == "history") {
            DumpHistory(&dumper, after);
            return dumper.text();
        }
        if (mInfo != nullptr) {
            mInfo->dump(&dumper);
        }
        FpsCommon::DumpWhy(&dumper);
        FpsCommon::Dump(&dumper);
        mFrameGate.dump(&dumper);
        if (mEvents != nullptr) {
            mEvents->dump(&dumper);
        }
        dumper.section("listeners");
        dumper.value("registered", static_cast<int64_t>(mListeners->count()));
        mOwners.dump(&dumper);
        mGate.refusals().dump(&dumper);
        LcdFpsControl::stats.dumpByPackage(&dumper);
        return dumper.text();
    };
    return WriteToReader(fd, Caller::Current().uid, gather, kDumpPatience);
}

void KVTServiceImpl::ReportGameFps(int32_t fps) {
    // Called outside the lock: a listener of this process may register another one meanwhile.
    // Remote ones are called one-way, so none of them keeps the next one waiting.
    for (const sp<IKVTListener>& listener : mListeners->all()) {
        listener->NotifyGameFpsToAps(fps);
    }
}

void KVTServiceImpl::SendLayerTimeInfo(LayerTimeInfo& info) {
    mFrameGate.onFrame(info.layerName, info.timestamp, info.flag);
}

void KVTServiceImpl::SetLcdEvent(int32_t event) {
    // A touch that was under way when the strategy was switched off, or that a compositor sends to
    // a policy that is off, would set a rate that nobody takes back.
    if (FpsCommon::appDynamicSwitch) {
        AppDynamicFps::GetInstance()->SetLcdEvent(event);
    }
}

void KVTServiceImpl::NotifyFrameRefresh(int64_t timestamp) {
    FrameRefreshDetect::GetInstance()->UpdateTimestamp(timestamp);
}

void KVTServiceImpl::NotifyDisplayHotplugEvent(int32_t event) {
    FpsCommon::OnDisplayHotplugEventReceived(event);
}

void KVTServiceImpl::NotifyVirtualDisplayEvent(int32_t event) {
    FpsCommon::OnVirtualDisplayEventReceived(event);
}

void KVTServiceImpl::NotifyGpuCompositionEvent(int32_t status) {
    FpsCommon::OnGpuCompositionEventReceived(status);
}

}  // namespace KVT

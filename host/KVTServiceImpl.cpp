// SPDX-License-Identifier: Apache-2.0
#include "host/KVTServiceImpl.h"

#include <algorithm>
#include <chrono>

#include "detect/FrameRefreshDetect.h"
#include "display/LcdFpsControl.h"
#include "host/ReaderWrite.h"
#include "host/TextDumper.h"
#include "policy/FpsCommon.h"
#include "service/RegistrationResult.h"
#include "strategy/AppDynamicFps.h"

namespace KVT {

using android::IBinder;
using android::sp;
using android::wp;

namespace {

/**
 * For a whole dump: a reader takes 64 kB in milliseconds even on a loaded phone, and the thread is
 * wanted for events.
 */
constexpr std::chrono::seconds kDumpPatience{2};

}  // namespace

/** Takes a listener off the list when its process dies. */
class KVTServiceImpl::ListenerDeath : public IBinder::DeathRecipient {
  public:
    explicit ListenerDeath(KVTServiceImpl* service) : mService(service) {}
    void binderDied(const wp<IBinder>& who) override {
        if (const sp<KVTServiceImpl> service = mService.promote(); service != nullptr) {
            service->removeListener(who);
        }
    }

  private:
    const wp<KVTServiceImpl> mService;
};

int32_t KVTServiceImpl::RegisterListener(const sp<IKVTListener>& listener) {
    if (listener == nullptr) {
        return REGISTRATION_NULL_LISTENER;
    }
    const sp<IBinder> binder = IInterface::asBinder(listener);
    const sp<ListenerDeath> death = new ListenerDeath(this);
    {
        MutexLock lock(mListenerMutex);
        const bool known = std::any_of(
            mListeners.begin(), mListeners.end(),
            [&binder](const Entry& e) { return IInterface::asBinder(e.listener) == binder; });
        if (known) {
            return REGISTRATION_DONE;
        }
        mListeners.push_back({listener, death});
    }
    // After the entry is there, so that a death in this very moment finds something to remove.
    if (binder->linkToDeath(death) == android::DEAD_OBJECT) {
        removeListener(binder);
    }
    return REGISTRATION_DONE;
}

int32_t KVTServiceImpl::UnRegisterListener(const sp<IKVTListener>& listener) {
    if (listener == nullptr) {
        return REGISTRATION_NULL_LISTENER;
    }
    removeListener(IInterface::asBinder(listener));
    return REGISTRATION_DONE;
}

void KVTServiceImpl::removeListener(const wp<IBinder>& binder) {
    Entry removed;
    {
        MutexLock lock(mListenerMutex);
        const auto found = std::find_if(
            mListeners.begin(), mListeners.end(),
            [&binder](const Entry& e) { return IInterface::asBinder(e.listener) == binder; });
        if (found == mListeners.end()) {
            return;
        }
        removed = *found;
        mListeners.erase(found);
    }
    IInterface::asBinder(removed.listener)->unlinkToDeath(removed.death);
}

size_t KVTServiceImpl::listenerCount() {
    MutexLock lock(mListenerMutex);
    return mListeners.size();
}

android::status_t KVTServiceImpl::onTransact(uint32_t code, const android::Parcel& data,
                                             android::Parcel* reply, uint32_t flags) {
    if (const android::status_t status = mGate.admit(Caller::Current(), code, data);
        status != android::OK) {
        return status;
    }
    if (code == DUMP_TRANSACTION && (flags & FLAG_ONEWAY) != 0) {
        return android::INVALID_OPERATION;
    }
    return KVTService::onTransact(code, data, reply, flags);
}

android::status_t KVTServiceImpl::dump(int fd, const android::Vector<android::String16>&) {
    TextDumper dumper;
    FpsCommon::Dump(&dumper);
    mFrameGate.dump(&dumper);
    dumper.section("listeners");
    dumper.value("registered", static_cast<int64_t>(listenerCount()));
    mGate.refusals().dump(&dumper);
    LcdFpsControl::stats.dumpByPackage(&dumper);
    return WriteToReader(fd, dumper.text(), kDumpPatience);
}

void KVTServiceImpl::ReportGameFps(int32_t fps) {
    // Called outside the lock: a listener of this process may register another one meanwhile.
    // Remote ones are called one-way, so none of them keeps the next one waiting.
    std::vector<sp<IKVTListener>> listeners;
    {
        MutexLock lock(mListenerMutex);
        for (const Entry& entry : mListeners) {
            listeners.push_back(entry.listener);
        }
    }
    for (const sp<IKVTListener>& listener : listeners) {
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

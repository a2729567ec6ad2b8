// SPDX-License-Identifier: Apache-2.0
// A service host: runs the policy and publishes it as KVTService.
// Usage: kvt-example-host [CONFIGURATION]
#include <binder/IPCThreadState.h>
#include <binder/IServiceManager.h>
#include <binder/ProcessState.h>
#include <common/Paths.h>
#include <detect/FrameGate.h>
#include <detect/FrameRefreshDetect.h>
#include <detect/GameFpsDetect.h>
#include <policy/FpsCommon.h>
#include <service/KVTService.h>
#include <service/RegistrationResult.h>
#include <strategy/AppDynamicFps.h>

#include <cstdlib>
#include <iostream>
#include <map>
#include <mutex>
#include <string>

namespace {

using namespace KVT;
using android::IBinder;
using android::sp;
using android::wp;

/** Keeps the listeners, and hands each event to the part of the library that is made for it. */
class ExampleService : public KVTService, public IBinder::DeathRecipient {
  public:
    int32_t RegisterListener(const sp<IKVTListener>& listener) override {
        if (listener == nullptr) {
            return REGISTRATION_NULL_LISTENER;
        }
        const sp<IBinder> binder = IInterface::asBinder(listener);
        {
            const std::lock_guard lock(mListenersMutex);
            if (!mListeners.emplace(binder, listener).second) {
                return REGISTRATION_DONE;
            }
        }
        if (binder->linkToDeath(this) == android::DEAD_OBJECT) {
            binderDied(binder);
        }
        return REGISTRATION_DONE;
    }

    int32_t UnRegisterListener(const sp<IKVTListener>& listener) override {
        if (listener == nullptr) {
            return REGISTRATION_NULL_LISTENER;
        }
        const sp<IBinder> binder = IInterface::asBinder(listener);
        binder->unlinkToDeath(this);
        binderDied(binder);
        return REGISTRATION_DONE;
    }

    void binderDied(const wp<IBinder>& who) override {
        const std::lock_guard lock(mListenersMutex);
        mListeners.erase(who);
    }

    void ReportGameFps(int32_t fps) override {
        std::map<wp<IBinder>, sp<IKVTListener>> listeners;
        {
            const std::lock_guard lock(mListenersMutex);
            listeners = mListeners;
        }
        for (const auto& [binder, listener] : listeners) {
            listener->NotifyGameFpsToAps(fps);
        }
    }

    void SendLayerTimeInfo(LayerTimeInfo& frame) override {
        mFrameGate.onFrame(frame.layerName, frame.timestamp, frame.flag);
    }

    void SetLcdEvent(int32_t event) override {
        // The compositor may not know yet that touches do not count (any more).
        if (FpsCommon::appDynamicSwitch) {
            AppDynamicFps::GetInstance()->SetLcdEvent(event);
        }
    }

    void NotifyFrameRefresh(int64_t timestamp) override {
        FrameRefreshDetect::GetInstance()->UpdateTimestamp(timestamp);
    }
    void NotifyDisplayHotplugEvent(int32_t event) override {
        FpsCommon::OnDisplayHotplugEventReceived(event);
    }
    void NotifyVirtualDisplayEvent(int32_t event) override {
        FpsCommon::OnVirtualDisplayEventReceived(event);
    }
    void NotifyGpuCompositionEvent(int32_t status) override {
        FpsCommon::OnGpuCompositionEventReceived(status);
    }

  private:
    std::mutex mListenersMutex;
    std::map<wp<IBinder>, sp<IKVTListener>> mListeners;
    FrameGate mFrameGate;
};

/** The policy's threads never end by themselves, so nothing must wait for them. */
[[noreturn]] void Fail(const char* reason) {
    std::cerr << "kvt-example-host: " << reason << std::endl;
    std::quick_exit(EXIT_FAILURE);
}

}  // namespace

int main(int argc, char** argv) {
    const auto manager = android::defaultServiceManager();
    if (manager == nullptr) {
        Fail("there is no service manager");
    }
    if (argc > 1) {
        Paths paths;  // the phone's
        paths.configFile = argv[1];
        SetPaths(paths);
    }
    FpsCommon::Init();  // before anybody can send an event
    const sp<ExampleService> service = new ExampleService;
    GameFpsDetect::GetInstance()->AttachService(service);
    if (manager->addService(IKVTService::descriptor, service) != android::OK) {
        Fail("the service manager refuses the service");
    }
    android::ProcessState::self()->startThreadPool();
    android::IPCThreadState::self()->joinThreadPool();
    Fail("the binder driver is gone");
}

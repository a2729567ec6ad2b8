// SPDX-License-Identifier: Apache-2.0
// Situations besides the foreground package that decide the rate.
#include <string_view>

#include "common/CleanText.h"
#include "common/Log.h"
#include "display/LcdFpsControl.h"
#include "policy/FpsCommon.h"

namespace KVT {
namespace {

constexpr std::string_view kSystemUi = "com.android.systemui";
// Measures GPU composition; lowering the rate under it would falsify what it measures.
constexpr std::string_view kGpuBenchmark = "net.kishonti.gfxbench.vulkan.v50000.corporate";

}  // namespace

std::string FpsCommon::fingerprintPkgName;

void FpsCommon::OnSceneFlag(Atomic<bool>& scene, int32_t value) {
    if (switchAll != 0) {
        return;
    }
    Event event;
    SetSceneFlag(scene, value);
}

void FpsCommon::SetSceneFlag(Atomic<bool>& scene, int32_t value) {
    if (value == 0 || value == 1) {
        scene = value == 1;
    }
    RunDecision(kUnlessUnlocking);
}

void FpsCommon::OnDisplayHotplugEventReceived(int32_t connected) {
    OnSceneFlag(underDisplayHotplugControl, connected);
}

void FpsCommon::OnVirtualDisplayEventReceived(int32_t created) {
    if (switchAll != 0) {
        return;
    }
    Event event;
    if (created == 1) {
        ++virtualDisplayStatus;
    } else if (created == 0) {
        --virtualDisplayStatus;
    }
    RunDecision(kUnlessUnlocking);
}

void FpsCommon::SetLcdLowDownByTpPointer(int32_t on) {
    if (switchAll != 0) {
        return;
    }
    Event event;
    if (tables.tpPointerSwitch) {
        SetSceneFlag(underTpPointerControl, on);
    }
}

void FpsCommon::SetLcdLowDownByWechatVideoScene(bool on) {
    if (switchAll != 0) {
        return;
    }
    Event event;
    underWechatVideoScene = on;
    if (on) {
        KVT_LOGI("fpscommon: wechat: start video call and set down 60Hz");
    } else {
        KVT_LOGI("fpscommon: wechat: end video call and recover");
    }
    RunDecision(kUnlessUnlocking);
}

void FpsCommon::OnFullVideoStatusReceived(int32_t on) {
    if (switchAll != 0 || (on != 0 && on != 1)) {
        return;
    }
    Event event;
    underFullVideoScene = on == 1;
    RunDecision(kUnlessUnlocking);
}

void FpsCommon::OnGpuCompositionEventReceived(int32_t status) {
    if (switchAll != 0) {
        return;
    }
    Event event;
    if (!tables.gpuCompositionSwitch || gameScene ||
        std::string_view(Foreground()).substr(0, kGpuBenchmark.size()) == kGpuBenchmark ||
        status == gpuCompositionStatus) {
        return;
    }
    gpuCompositionStatus = status;
    if (status == 1 && ++gpuCompositionCount >= tables.gpuCompositionCountLimit) {
        gpuCompositionCount = tables.gpuCompositionCountLimit;
        KVT_LOGI("Gpu-KVT: Gpu composition count full");
    }
    RunDecision(kUnlessUnlocking);
}

void FpsCommon::OnFingerprintMessageReceived(const std::string& pkg, int32_t status) {
    if (switchAll != 0) {
        return;
    }
    if (status < 0 || status > 2 || pkg.empty()) {
        KVT_LOGE("kvt-fingerprint: params invalid, packageName: %s, status: %d",
                 CleanText(pkg).c_str(), status);
        return;
    }
    Event event;
    // The system UI may not take an unlock away from another package that is in the middle of one.
    if (fingerprintPkgName != kSystemUi && fingerprintStatus != 0 && pkg == kSystemUi) {
        return;
    }
    fingerprintPkgName = pkg;
    fingerprintStatus = status;
    if (status != 0) {
        // Any other scene wins, even one that the decision itself would rank below the unlock.
        PolicySnapshot others = TakeSnapshot();
        others.fingerprintStatus = 0;
        if (DecideByScene(others).has_value()) {
            KVT_LOGI("kvt-fingerprint: under control by others");
            return;
        }
    }
    RunDecision(kInAnyCase);
}

void FpsCommon::RecoverLcd() {
    Event event;
    if (switchAll == 0) {
        BindVipCpus();
    }
    if (fingerprintStatus == 0) {
        LcdFpsControl::RecoverLastLcdFps();
    }
}

}  // namespace KVT

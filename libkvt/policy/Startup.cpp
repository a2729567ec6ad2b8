// SPDX-License-Identifier: Apache-2.0
// State of the policy, its start, and the two global inputs: power mode and user setting.
#include <cutils/properties.h>

#include <cstdlib>

#include "config/XmlParser.h"
#include "display/LcdFpsControl.h"
#include "policy/FpsCommon.h"
#include "policy/KnownPackages.h"
#include "strategy/AppDynamicFps.h"
#include "strategy/GameDynamicFps.h"
#include "strategy/GameHighFps.h"
#include "strategy/LcdFpsMonitor.h"

namespace KVT {
namespace {

constexpr const char* kClassificationService = "IKoraCMSService";

int32_t IntProperty(const char* name, const char* fallback) {
    char value[PROPERTY_VALUE_MAX];
    property_get(name, value, fallback);
    return atoi(value);
}

}  // namespace

int32_t FpsCommon::switchAll = 0;
ConfigTables FpsCommon::tables;
DecisionLog FpsCommon::decisions;
Atomic<int32_t> FpsCommon::powerMode{2};
Atomic<bool> FpsCommon::powerModeSwitch{false};
Atomic<int32_t> FpsCommon::lcdSetting{0};
Atomic<bool> FpsCommon::gameScene{false};
Atomic<bool> FpsCommon::gameAppStart{false};
Atomic<bool> FpsCommon::appDynamicSwitch{false};
Atomic<bool> FpsCommon::gameDynamicSwitch{false};
Atomic<bool> FpsCommon::gameConst90Switch{false};
Atomic<int32_t> FpsCommon::limitedGameFps{kNoGameFps};
Atomic<int32_t> FpsCommon::forcedGameFps{kNoGameFps};
Atomic<bool> FpsCommon::underDisplayHotplugControl{false};
Atomic<int32_t> FpsCommon::virtualDisplayStatus{0};
Atomic<bool> FpsCommon::underTpPointerControl{false};
Atomic<bool> FpsCommon::underWechatVideoScene{false};
Atomic<bool> FpsCommon::underFullVideoScene{false};
Atomic<int32_t> FpsCommon::fingerprintStatus{0};
Atomic<int32_t> FpsCommon::gpuCompositionStatus{0};
Atomic<int32_t> FpsCommon::gpuCompositionCount{0};
Atomic<int32_t> FpsCommon::ctsTestCount{0};
Atomic<int32_t> FpsCommon::underMultiAppStatus{0};
Mutex FpsCommon::decisionMutex;
std::string FpsCommon::focusApp = kLauncher;
std::unordered_set<std::string> FpsCommon::visibleAppSet;
std::string FpsCommon::fingerprintPkgName;
std::string FpsCommon::foreground = kLauncher;
Mutex FpsCommon::pkgMutex;
std::string FpsCommon::currentPkgName = kLauncher;
Atomic<uint32_t> FpsCommon::foregroundChanges{0};
Mutex FpsCommon::appTypeMapMutex;
std::unordered_map<std::string, int32_t> FpsCommon::appTypeMap;
android::sp<android::IServiceManager> FpsCommon::sm;
android::sp<android::IBinder> FpsCommon::service;
Mutex FpsCommon::codeCacheMutex;
FpsCommon::CodeCache FpsCommon::appCodeCache;
FpsCommon::CodeCache FpsCommon::gameCodeCache;

void FpsCommon::Init() {
    const android::sp<android::IServiceManager> manager = android::defaultServiceManager();
    const android::sp<android::IBinder> classifier =
        manager == nullptr ? nullptr
                           : manager->checkService(android::String16(kClassificationService));
    const std::string launcher = CurrentPkgName();
    {
        MutexLock lock(appTypeMapMutex);
        sm = manager;
        service = classifier;
        // The launcher is in front all the time; nobody needs to be asked what it is.
        appTypeMap.emplace(launcher, kTypeLauncher);
    }

    LcdFpsControl::stats.onPackage(launcher);
    LcdFpsControl::Init();
    NotifyIsDynamicFreq();
    if (LcdFpsControl::GetMaxLcdFps() <= kLowHz) {
        switchAll = kLowHz;
        LcdFpsControl::SetLcdFps(switchAll);
        return;
    }
    switchAll = IntProperty("persist.dynamicfps.switch", "0");
    if (switchAll >= 1) {
        if (switchAll != kHighHz) {
            switchAll = kLowHz;
        }
        LcdFpsControl::SetLcdFps(switchAll);
        return;
    }

    XmlParser::Init();
    XmlParser::ParseXmlConfigFile();
    const std::string defaultSetting = std::to_string(tables.defaultSettingId);
    property_set("ro.kvt.zr_screen_default_freq", defaultSetting.c_str());

    AppDynamicFps::GetInstance()->StartCheckFpsThread();
    GameDynamicFps::GetInstance()->StartCheckFpsThread();
    GameHighFps::GetInstance()->StartCheckFpsThread();
    LcdFpsMonitor::GetInstance()->StartCheckFpsThread();

    DoWithPowerModeUpdate(IntProperty("persist.sys.smart_power", "0"));
    DoWithLcdSettingUpdate(IntProperty("persist.sys.zr_screen_freq", defaultSetting.c_str()));
}

void FpsCommon::DoWithPowerModeUpdate(int32_t mode) {
    if (switchAll != 0) {
        return;
    }
    MutexLock lock(decisionMutex);
    powerMode = mode;
    powerModeSwitch = mode == 1 || mode == 4;
    DecideUnlessFingerprintLocked();
}

void FpsCommon::DoWithLcdSettingUpdate(int32_t setting) {
    if (switchAll != 0) {
        return;
    }
    MutexLock lock(decisionMutex);
    lcdSetting = validLcdSettings.count(setting) != 0 ? setting : 0;
    LcdFpsControl::SetHighFreqOnFlag(lcdSetting == 1);
    DecideUnlessFingerprintLocked();
    BindVipCpus();
}

void FpsCommon::BindVipCpus() {
    LcdFpsControl::BindVipCpus(lcdSetting == 1 && !gameScene);
}

std::string FpsCommon::CurrentPkgName() {
    MutexLock lock(pkgMutex);
    return currentPkgName;
}

PolicySnapshot FpsCommon::TakeSnapshot() {
    PolicySnapshot state;
    state.displayHotplug = underDisplayHotplugControl;
    state.virtualDisplays = virtualDisplayStatus;
    state.tpPointer = underTpPointerControl;
    state.powerSaving = powerModeSwitch;
    state.videoCall = underWechatVideoScene;
    state.fullVideo = underFullVideoScene;
    state.gpuCompositionStatus = gpuCompositionStatus;
    state.gpuCompositionCount = gpuCompositionCount;
    state.gpuCompositionCountLimit = tables.gpuCompositionCountLimit;
    state.fingerprintStatus = fingerprintStatus;
    state.ctsTestCount = ctsTestCount;
    state.multiAppStatus = underMultiAppStatus;
    return state;
}

}  // namespace KVT

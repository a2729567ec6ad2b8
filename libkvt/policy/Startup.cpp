// SPDX-License-Identifier: Apache-2.0
// The start of everything.
#include <cutils/properties.h>

#include <cstdlib>

#include "common/Codes.h"
#include "common/Turn.h"
#include "config/XmlParser.h"
#include "display/LcdFpsControl.h"
#include "policy/Consequences.h"
#include "policy/FpsCommon.h"
#include "strategy/AppDynamicFps.h"
#include "strategy/GameDynamicFps.h"
#include "strategy/GameHighFps.h"
#include "strategy/LcdFpsMonitor.h"

namespace KVT {
namespace {

int32_t IntProperty(const char* name, const char* fallback) {
    char value[PROPERTY_VALUE_MAX];
    property_get(name, value, fallback);
    return atoi(value);
}

}  // namespace

void FpsCommon::Init() {
    Consequences::Connect();
    ConnectClassifier();
    // The launcher is in front all the time; nobody needs to be asked what it is.
    const std::string launcher = CurrentPkgName();
    RememberType(launcher, kTypeLauncher);

    LcdFpsControl::OnPackage(launcher);
    LcdFpsControl::Init();
    NotifyIsDynamicFreq();
    if (LcdFpsControl::GetMaxLcdFps() <= kLowHz) {
        switchAll = kLowHz;
        LcdFpsControl::SetLcdFps(switchAll, {Cause::kFixedMode});
        return;
    }
    switchAll = IntProperty("persist.dynamicfps.switch", "0");
    if (switchAll >= 1) {
        if (switchAll != kHighHz) {
            switchAll = kLowHz;
        }
        LcdFpsControl::SetLcdFps(switchAll, {Cause::kFixedMode});
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

    // The game SDK knows us by now, and may report while these are decided.
    Turn::Take([] { DoWithPowerModeUpdate(IntProperty("persist.sys.smart_power", "0")); });
    // By value: in the middle of a turn it is done after this has returned.
    Turn::Take([defaultSetting] {
        DoWithLcdSettingUpdate(IntProperty("persist.sys.zr_screen_freq", defaultSetting.c_str()));
    });
}

void FpsCommon::NotifyIsDynamicFreq() {
    CompositorNotices::NotifyIsDynamicFreq(LcdFpsControl::GetNewSchemeSupported());
}

void FpsCommon::NotifyParticalComposeThresholdToSF(int32_t fps) {
    int32_t threshold = 0;
    {
        MutexLock lock(codeCacheMutex);
        threshold = tables.partialComposeThreshold;
    }
    CompositorNotices::NotifyParticalComposeThresholdToSF(fps, threshold);
}

}  // namespace KVT

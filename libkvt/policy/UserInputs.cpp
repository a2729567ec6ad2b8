// SPDX-License-Identifier: Apache-2.0
// The two global inputs: power mode and user setting.
#include "config/ConfigTables.h"
#include "display/LcdFpsControl.h"
#include "policy/FpsCommon.h"

namespace KVT {

void FpsCommon::DoWithPowerModeUpdate(int32_t mode) {
    if (switchAll != 0) {
        return;
    }
    Event event;
    powerMode = mode;
    powerModeSwitch = mode == 1 || mode == 4;
    RunDecision(kUnlessUnlocking);
}

void FpsCommon::DoWithLcdSettingUpdate(int32_t setting) {
    if (switchAll != 0) {
        return;
    }
    Event event;
    lcdSetting = validLcdSettings.count(setting) != 0 ? setting : 0;
    LcdFpsControl::SetHighFreqOnFlag(lcdSetting == 1);
    RunDecision(kUnlessUnlocking);
    BindVipCpus();
}

void FpsCommon::BindVipCpus() {
    LcdFpsControl::BindVipCpus(lcdSetting == 1 && !gameScene);
}

}  // namespace KVT

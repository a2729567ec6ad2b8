// SPDX-License-Identifier: Apache-2.0
// Another configuration in the place of the one that was read at start-up.
#include <utility>

#include "config/XmlParser.h"
#include "policy/FpsCommon.h"

namespace KVT {

void FpsCommon::OnConfigChanged(const tinyxml2::XMLElement* params) {
    if (switchAll != 0) {
        return;
    }
    ConfigTables replaced;
    XmlParser::Init(replaced);
    // Without the lock: a compositor that is missing is waited for, with what it is sent of the file.
    XmlParser::ParseHelper(params, replaced);
    Event event;
    event.askShown();
    {
        MutexLock lock(codeCacheMutex);
        std::swap(tables, replaced);
        appCodeCache.clear();
        gameCodeCache.clear();
    }
    if (!tables.multiAppLcdFpsSwitch && underMultiAppStatus == 2) {
        underMultiAppStatus = 0;
    }
    // Of what is switched off, the end would not be heard, either.
    if (!tables.tpPointerSwitch) {
        underTpPointerControl = false;
    }
    if (!tables.gpuCompositionSwitch) {
        gpuCompositionStatus = 0;
        gpuCompositionCount = 0;
    }
    if (!isChosenFromShown || !ChooseAgain()) {
        RunDecision(kUnlessUnlocking);
    }
}

}  // namespace KVT

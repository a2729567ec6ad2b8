// SPDX-License-Identifier: Apache-2.0
// Another configuration in the place of the one that was read at start-up.
#include <utility>

#include "config/XmlParser.h"
#include "display/LcdFpsControl.h"
#include "policy/FpsCommon.h"

namespace KVT {

void FpsCommon::OnConfigChanged(const tinyxml2::XMLElement* params) {
    if (switchAll != 0) {
        return;
    }
    ConfigTables replaced;
    XmlParser::Init(replaced);
    Event event;
    event.askShown();
    // The one value of the file that is kept elsewhere: it, too, begins with what is built in.
    LcdFpsControl::particalComposeEnabled = false;
    XmlParser::ParseHelper(params, replaced);
    {
        MutexLock lock(codeCacheMutex);
        std::swap(tables, replaced);
        appCodeCache.clear();
        gameCodeCache.clear();
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

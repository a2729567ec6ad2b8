// SPDX-License-Identifier: Apache-2.0
#include "policy/Consequences.h"

#include <android/log.h>
#include <cutils/properties.h>
#include <zrlog/JankLog.h>

#include "common/CleanText.h"
#include "config/XmlParser.h"
#include "detect/GameFpsDetect.h"
#include "display/LcdFpsControl.h"
#include "peers/CompositorNotices.h"
#include "peers/TypeAsker.h"
#include "policy/FpsCommon.h"
#include "state/PolicyState.h"
#include "strategy/GameDynamicFps.h"
#include "strategy/GameHighFps.h"
#include "strategy/LcdFpsMonitor.h"
#include "sync/Clock.h"

namespace KVT {
namespace {

constexpr int kJankFpsChanged = 460;

void WriteJankRecord(int32_t fps) {
    const std::string record = "#ARG1:fps#pkg:" + CleanText(PolicyState::CurrentPkgName()) +
                               "#fps:" + std::to_string(fps) +
                               "#time:" + std::to_string(BootTimeNow());
    __zrlog_jank_print(ANDROID_LOG_DEBUG, kJankFpsChanged, "%s", record.c_str());
}

}  // namespace

Consequences* Consequences::GetInstance() {
    // Never destroyed: check threads change the panel until the very end.
    static auto* const instance = new Consequences;
    return instance;
}

Consequences::Consequences() {
    // Made before the strategies, and so destroyed after them: they use it to the end.
    LcdFpsMonitor::GetInstance();
}

void Consequences::Connect() {
    LcdFpsControl::SetObserver(GetInstance());
    GameFpsDetect::GetInstance()->SetRateListener(GetInstance());
    XmlParser::SetOwner(GetInstance());
    TypeAsker::GetInstance()->SetListener(GetInstance());
}

void Consequences::onFrameNeeded() {
    CompositorNotices::ForceRefreshFrame();
}

void Consequences::onRateSet(int32_t fps) {
    LcdFpsMonitor::GetInstance()->SetLcdRefreshRate(fps);
    WriteJankRecord(fps);
    if (LcdFpsControl::particalComposeEnabled) {
        FpsCommon::NotifyParticalComposeThresholdToSF(fps);
    }
}

void Consequences::onGameRate(int32_t fps) {
    if (PolicyState::gameDynamicSwitch) {
        GameDynamicFps::GetInstance()->SetGameFps(fps);
    } else if (PolicyState::gameConst90Switch) {
        GameHighFps::GetInstance()->SetGameFps(fps);
    }
}

void Consequences::onCompositionParams(const CompositionParams& params) {
    CompositorNotices::NotifyCompositionParamsToSF(params.gpuCompositionSwitch, params.accumTime,
                                                   params.accumCount, params.penaltyTime);
}

void Consequences::onSlideModel(const std::string& text) {
    // Where the touch-scroll component, which is not ours, looks for it.
    property_set("persist.kvt.slide_model_parms", text.c_str());
}

void Consequences::onParticalCompose(bool enabled) {
    LcdFpsControl::particalComposeEnabled = enabled;
}

void Consequences::onTypesLearned(const std::vector<std::string>& pkgs) {
    FpsCommon::OnTypesLearned(pkgs);
}

}  // namespace KVT

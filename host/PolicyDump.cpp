// SPDX-License-Identifier: Apache-2.0
#include "host/PolicyDump.h"

#include "detect/GameFpsDetect.h"
#include "detect/GameFpsHelper.h"
#include "display/LcdFpsControl.h"
#include "policy/FpsCommon.h"

namespace KVT {
namespace {

const char* ArmedStrategy() {
    return FpsCommon::appDynamicSwitch    ? "app-dynamic"
           : FpsCommon::gameDynamicSwitch ? "game-dynamic"
           : FpsCommon::gameConst90Switch ? "game-const-high"
                                          : "none";
}

void DumpForeground(Dumper* dumper) {
    const std::string pkg = FpsCommon::CurrentPkgName();
    const int32_t type = FpsCommon::CachedType(pkg);
    dumper->section("foreground");
    dumper->value("package", pkg);
    dumper->value("type", type);
    dumper->value("game", FpsCommon::gameScene.load());
    dumper->value("code", FpsCommon::PeekCode(pkg, type));
    std::string layer = "any";
    GameFpsHelper::GetInstance()->SearchTargetLayer(pkg, layer);
    dumper->value("target_layer", layer);
    dumper->value("detected_fps", GameFpsDetect::GetInstance()->GetCurrentFps());
    dumper->value("limited_fps", FpsCommon::limitedGameFps.load());
    dumper->value("forced_fps", FpsCommon::forcedGameFps.load());
}

void DumpPanel(Dumper* dumper, const RateStats::Totals& totals) {
    dumper->section("panel");
    dumper->value("requested_hz", totals.requestedHz);
    dumper->value("confirmed_hz", totals.confirmedHz);
    dumper->value("maximum_hz", LcdFpsControl::GetMaxLcdFps());
    dumper->value("new_scheme", LcdFpsControl::GetNewSchemeSupported());
    dumper->value("switches", totals.switches);
    dumper->value("failed_changes", totals.failures);
}

void DumpScenes(Dumper* dumper) {
    const PolicySnapshot state = FpsCommon::TakeSnapshot();
    dumper->section("scenes");
    dumper->value("fixed_rate", FpsCommon::switchAll);
    dumper->value("lcd_setting", FpsCommon::lcdSetting.load());
    dumper->value("power_mode", FpsCommon::powerMode.load());
    dumper->value("display_hotplug", state.displayHotplug);
    dumper->value("virtual_displays", state.virtualDisplays);
    dumper->value("touch_pointer", state.tpPointer);
    dumper->value("power_saving", state.powerSaving);
    dumper->value("video_call", state.videoCall);
    dumper->value("full_video", state.fullVideo);
    dumper->value("gpu_composition", state.gpuCompositionStatus);
    dumper->value("gpu_composition_count", state.gpuCompositionCount);
    dumper->value("gpu_composition_count_limit", state.gpuCompositionCountLimit);
    dumper->value("fingerprint", state.fingerprintStatus);
    dumper->value("compatibility_test_count", state.ctsTestCount);
    dumper->value("multi_app", state.multiAppStatus);
}

void DumpDecisions(Dumper* dumper) {
    dumper->section("decisions");
    for (const DecisionRecord& record : FpsCommon::decisions.since(0)) {
        const Decision& d = record.decision;
        std::string text = "at " + SecondsText(record.time) + " " + record.pkg + " " +
                           NameOf(d.outcome) + " rule " + NameOf(d.rule);
        if (d.code >= 0) {
            text += " code " + std::to_string(d.code);
        }
        if (d.rate != kRateUntouched) {
            text += " " + std::to_string(d.rate) + " Hz";
        }
        dumper->value(std::to_string(record.number), text);
    }
}

void DumpTimes(Dumper* dumper, const RateStats::Totals& totals) {
    dumper->section("seconds_at_rate");
    for (const auto& [hz, ns] : totals.nsAtRate) {
        dumper->seconds(std::to_string(hz), ns);
    }
    dumper->section("seconds_at_rate_by_package");
    for (const auto& [pkg, times] : totals.nsAtRateByPackage) {
        for (const auto& [hz, ns] : times) {
            dumper->seconds(pkg + "@" + std::to_string(hz), ns);
        }
    }
}

}  // namespace

void DumpPolicy(Dumper* dumper) {
    const RateStats::Totals totals = LcdFpsControl::stats.totals();
    DumpForeground(dumper);
    dumper->section("strategy");
    dumper->value("armed", ArmedStrategy());
    DumpPanel(dumper, totals);
    DumpScenes(dumper);
    DumpDecisions(dumper);
    DumpTimes(dumper, totals);
}

}  // namespace KVT

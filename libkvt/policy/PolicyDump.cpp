// SPDX-License-Identifier: Apache-2.0
// The policy's part of the service's dump. Waits for no event in progress, so it also tells what a
// stuck service is stuck with.
#include "common/Dumper.h"
#include "detect/GameFpsDetect.h"
#include "detect/GameFpsHelper.h"
#include "display/LcdFpsControl.h"
#include "policy/FpsCommon.h"

namespace KVT {

void FpsCommon::Dump(Dumper* dumper) {
    DumpForeground(dumper);
    dumper->section("strategy");
    dumper->value("armed", ArmedStrategy());
    LcdFpsControl::Dump(dumper);
    TypeAsker::GetInstance()->Dump(dumper);
    DumpScenes(dumper);
    {
        MutexLock lock(codeCacheMutex);
        dumper->value("gpu_composition_count_limit", tables.gpuCompositionCountLimit);
    }
    decisions.dump(dumper);
    LcdFpsControl::stats.dump(dumper);
}

void FpsCommon::DumpForeground(Dumper* dumper) {
    const std::string pkg = CurrentPkgName();
    const int32_t type = CachedType(pkg);
    dumper->section("foreground");
    dumper->value("package", pkg);
    dumper->value("type", type);
    dumper->value("game", gameScene.load());
    dumper->value("code", PeekCode(pkg, type));
    std::string layer = "any";
    GameFpsHelper::GetInstance()->SearchTargetLayer(pkg, layer);
    dumper->value("target_layer", layer);
    dumper->value("detected_fps", GameFpsDetect::GetInstance()->GetCurrentFps());
    dumper->value("limited_fps", limitedGameFps.load());
    dumper->value("forced_fps", forcedGameFps.load());
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "state/PolicyState.h"

#include "common/Codes.h"
#include "common/Dumper.h"
#include "common/KnownPackages.h"

namespace KVT {

int32_t PolicyState::switchAll = 0;
Atomic<int32_t> PolicyState::powerMode{2};
Atomic<int32_t> PolicyState::lcdSetting{0};
Atomic<bool> PolicyState::gameScene{false};
Atomic<bool> PolicyState::gameAppStart{false};
Atomic<bool> PolicyState::appDynamicSwitch{false};
Atomic<bool> PolicyState::gameDynamicSwitch{false};
Atomic<bool> PolicyState::gameConst90Switch{false};
Atomic<int32_t> PolicyState::limitedGameFps{kNoGameFps};
Atomic<int32_t> PolicyState::forcedGameFps{kNoGameFps};
// NOLINTNEXTLINE(bugprone-macro-parentheses): no type can stand in parentheses there
#define KVT_DEFINITION(type, name, key) Atomic<type> PolicyState::name{type{}};
KVT_SCENE_INPUTS(KVT_DEFINITION)
#undef KVT_DEFINITION
Atomic<uint32_t> PolicyState::foregroundChanges{0};
Mutex PolicyState::pkgMutex;
std::string PolicyState::currentPkgName = kLauncher;

std::string PolicyState::CurrentPkgName() {
    MutexLock lock(pkgMutex);
    return currentPkgName;
}

void PolicyState::SetCurrentPkgName(const std::string& pkg) {
    MutexLock lock(pkgMutex);
    currentPkgName = pkg;
    ++foregroundChanges;  // last: who has seen the new count must not find the old package
}

PolicySnapshot PolicyState::TakeSceneInputs() {
    PolicySnapshot inputs;
#define KVT_LOAD(type, name, key) inputs.name = name;
    KVT_SCENE_INPUTS(KVT_LOAD)
#undef KVT_LOAD
    return inputs;
}

const char* PolicyState::ArmedStrategy() {
    return appDynamicSwitch    ? "app-dynamic"
           : gameDynamicSwitch ? "game-dynamic"
           : gameConst90Switch ? "game-const-high"
                               : "none";
}

void PolicyState::DumpScenes(Dumper* dumper) {
    dumper->section("scenes");
    dumper->value("fixed_rate", switchAll);
    dumper->value("lcd_setting", lcdSetting.load());
    dumper->value("power_mode", powerMode.load());
#define KVT_LINE(type, name, key) dumper->value((key), (name).load());
    KVT_SCENE_INPUTS(KVT_LINE)
#undef KVT_LINE
}

}  // namespace KVT

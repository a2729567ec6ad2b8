// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "state/SceneInputs.h"
#include "sync/Atomic.h"
#include "sync/Mutex.h"

namespace KVT {

class Dumper;

/**
 * The part of the policy's state that strategies, detection and the dump read, too; FpsCommon's
 * members by inheritance. The policy writes it, one event at a time, unless a member says
 * otherwise; any thread reads it.
 */
class PolicyState {
  public:
    PolicyState() = delete;

    /** 0: the policy runs. Else it is off, and 60 or 90 a fixed rate. Written once, at start-up. */
    static int32_t switchAll;

    /** The last power mode; powerModeSwitch says what follows from it. */
    static Atomic<int32_t> powerMode;
    /** User's refresh-rate setting: 0, 1 or 2. */
    static Atomic<int32_t> lcdSetting;

    /** The foreground package is a game. */
    static Atomic<bool> gameScene;
    /** The same, for modules outside this library. */
    static Atomic<bool> gameAppStart;

    /** Armed strategies; at most one of the three after a decision. */
    static Atomic<bool> appDynamicSwitch;
    static Atomic<bool> gameDynamicSwitch;
    static Atomic<bool> gameConst90Switch;

    /** Upper limit that the framework sets on game frame rates, fps; -1 none. Any thread writes. */
    static Atomic<int32_t> limitedGameFps;
    /** Frame rate that a game strategy forces for a while, fps; -1 none. Strategies write it, too. */
    static Atomic<int32_t> forcedGameFps;

#define KVT_MEMBER(type, name, key) static Atomic<type> name;
    KVT_SCENE_INPUTS(KVT_MEMBER)
#undef KVT_MEMBER

    /** Guards the name of the package in front. A leaf. */
    static Mutex pkgMutex;
    /** The package in front. */
    static std::string CurrentPkgName() EXCLUDES(pkgMutex);
    /** Grows with every change of the package in front, so that a view of it knows it is old. */
    static Atomic<uint32_t> foregroundChanges;

    /** The scene inputs now; the limit is the policy's to fill in. */
    static PolicySnapshot TakeSceneInputs();
    /** The armed strategy, by its name for people: "app-dynamic", ... or "none". */
    static const char* ArmedStrategy();
    /** The section "scenes". */
    static void DumpScenes(Dumper* dumper);

  protected:
    /** One thread at a time. */
    static void SetCurrentPkgName(const std::string& pkg) EXCLUDES(pkgMutex);
    /** Without a copy and a lock, for the one who alone may set it. */
    static const std::string& OwnPkgName() NO_THREAD_SAFETY_ANALYSIS {
        return currentPkgName;
    }

  private:
    static std::string currentPkgName GUARDED_BY(pkgMutex);
};

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>
#include <binder/IServiceManager.h>

#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "common/Codes.h"
#include "config/ConfigTables.h"
#include "policy/Decision.h"
#include "policy/DecisionLog.h"
#include "sync/Atomic.h"
#include "sync/Mutex.h"

namespace KVT {

/**
 * The policy: all state that the choice of a rate depends on, and the events that change it.
 *
 * There are no instances. Events may arrive on any number of threads once Init has returned. The
 * dispatcher makes each a turn of its thread (common/Turn.h), since a peer that is asked about one
 * event may come back with another. Code of an integrator's own that hands events over does so in
 * Turn::Take, too: not in the middle of a turn, where the event would wait for itself.
 *
 * Package, power, setting and scene events are serialised by decisionMutex from their first store
 * to the end of the decision they lead to, so that the last decision has seen every input and at
 * most one strategy is armed. The atomic members are also read by strategies and detection, which
 * take no lock for it.
 *
 * One source file for each topic: Startup, Classification, ForegroundSwitch, SceneEvents and
 * CompositorNotices.
 */
class FpsCommon {
  public:
    FpsCommon() = delete;

    // --- Start-up -------------------------------------------------------------------------------

    /** Starts everything. Called once, before the service is published. */
    static void Init();

    // --- Framework events -----------------------------------------------------------------------

    /** @param mode 1 and 4 save power, which holds the low rate; others are only stored */
    static void DoWithPowerModeUpdate(int32_t mode) EXCLUDES(decisionMutex);
    /** @param setting 0, 1 or 2; anything else counts as 0 */
    static void DoWithLcdSettingUpdate(int32_t setting) EXCLUDES(decisionMutex);
    /** The focused package, and all that are visible (empty when only the focus is known). */
    static void OnPackageInfoReceived(const std::string& focus,
                                      const std::unordered_set<std::string>& visible)
        EXCLUDES(decisionMutex);
    /** Works out which package counts as foreground. (The name is the interface's.) */
    static void OnPackageInfoUpate(const std::string& focus,
                                   const std::unordered_set<std::string>& visible,
                                   const std::string& current) EXCLUDES(decisionMutex);
    /**
     * No transaction leads here: for a service class that knows it from elsewhere.
     *
     * @param state 0: the game is gone
     */
    static void OnGameExitReceived(const std::string& pkg, int32_t state) EXCLUDES(decisionMutex);
    /** Makes `pkg` the foreground package. */
    static void DoWithPackageUpdate(const std::string& pkg) EXCLUDES(decisionMutex);
    /** Takes note of whether the foreground package is a game. */
    static void ForeAppSwitchToGame() EXCLUDES(decisionMutex);

    // --- Scene events ---------------------------------------------------------------------------

    /** @param connected 1 external display connected, 0 disconnected */
    static void OnDisplayHotplugEventReceived(int32_t connected) EXCLUDES(decisionMutex);
    /** @param created 1 virtual display created, 0 removed */
    static void OnVirtualDisplayEventReceived(int32_t created) EXCLUDES(decisionMutex);
    /** @param on 1 a touch-pad pointer is in use, 0 no longer */
    static void SetLcdLowDownByTpPointer(int32_t on) EXCLUDES(decisionMutex);
    /** @param status 0 idle, 1 wants the high rate, 2 wants the low rate */
    static void OnFingerprintMessageReceived(const std::string& pkg, int32_t status)
        EXCLUDES(decisionMutex);
    /** @param status 1 GPU composition started, anything else: ended */
    static void OnGpuCompositionEventReceived(int32_t status) EXCLUDES(decisionMutex);

    // No transaction leads to these three; they are for a service class that knows from elsewhere
    // of video calls, full-screen video, or changes of the rate that are not the policy's.

    static void SetLcdLowDownByWechatVideoScene(bool on) EXCLUDES(decisionMutex);
    /** @param on 1 full-screen video plays, 0 no longer */
    static void OnFullVideoStatusReceived(int32_t on) EXCLUDES(decisionMutex);
    /** Restores the panel after its rate was changed behind the policy's back. */
    static void RecoverLcd() EXCLUDES(decisionMutex);

    // --- The decision ---------------------------------------------------------------------------

    /** Decides anew, unless a fingerprint unlock is going on. */
    static void DoWithForeAppSwitch() EXCLUDES(decisionMutex);
    /** Decides anew: snapshot, pure decision, application. */
    static void DoWithForeAppSwitchInternal() EXCLUDES(decisionMutex);
    /** What the decision would be now; nothing is done. Asks for the package's class if need be. */
    static Decision Decide() EXCLUDES(decisionMutex);
    /** Re-applies the CPU binding: the big cores, with setting 1 and outside games. */
    static void BindVipCpus();

    // --- Classification -------------------------------------------------------------------------

    /** Type of a package: cached, or asked of the classification service; -1 when unknown. */
    static int32_t GetPkgTypeByICMSManager(const std::string& pkg);
    /** Refresh-rate code of a game under the current setting. */
    static int32_t GetGameCode(const std::string& pkg);
    /** Refresh-rate code of an application under the current setting. */
    static int32_t GetAppCode(const std::string& pkg, int32_t type);

    // --- What the compositor is told (best effort, see CompositorNotices.cpp) -------------------

    static void NotifyIsDynamicFreq();
    static void NotifyAppDynamicFpsModeToSF(bool on);
    /** @param notGame 1 the new package is no game, 0 it is one */
    static void NotifyNewAppOpenedToSF(int32_t notGame);
    /** @param fps new panel rate in Hz. (The name is the interface's.) */
    static void NotifyParticalComposeThresholdToSF(int32_t fps);
    /** GPU-composition parameters of the configuration file. Times in seconds, as in the file. */
    static void NotifyCompositionParamsToSF(int32_t accumTime, int32_t accumCount,
                                            int32_t penaltyTime);
    /** Makes the compositor draw a frame, and waits for it. */
    static void ForceRefreshFrame();

    // --- For dumps and the simulator ------------------------------------------------------------

    static std::string CurrentPkgName() EXCLUDES(pkgMutex);
    /** Type of a package as far as it is known here; nobody is asked. */
    static int32_t CachedType(const std::string& pkg) EXCLUDES(appTypeMapMutex);
    /** Code that a decision would find for a package now; asking does not settle it. */
    static int32_t PeekCode(const std::string& pkg, int32_t type) EXCLUDES(codeCacheMutex);
    static PolicySnapshot TakeSnapshot();

    // --- State ----------------------------------------------------------------------------------

    /** 0: the policy runs. Else it is off; 60 or 90 is the panel's fixed rate. Written by Init. */
    static int32_t switchAll;
    static ConfigTables tables;
    static DecisionLog decisions;

    static Atomic<int32_t> powerMode;
    static Atomic<bool> powerModeSwitch;
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

    /** Upper limit that the framework sets on game frame rates; -1 none. */
    static Atomic<int32_t> limitedGameFps;
    /** Frame rate that a strategy forces for a while; -1 none. */
    static Atomic<int32_t> forcedGameFps;

    static Atomic<bool> underDisplayHotplugControl;
    /** Living virtual displays; not clamped, so a stray removal makes it negative. */
    static Atomic<int32_t> virtualDisplayStatus;
    static Atomic<bool> underTpPointerControl;
    static Atomic<bool> underWechatVideoScene;
    static Atomic<bool> underFullVideoScene;
    /** 0 idle, 1 wants the high rate, 2 the low one; other events meanwhile wait to be decided. */
    static Atomic<int32_t> fingerprintStatus;
    static Atomic<int32_t> gpuCompositionStatus;
    /** GPU-composition starts of the current package. */
    static Atomic<int32_t> gpuCompositionCount;
    /** Packages left, the current one included, to be held at 60 Hz by a compatibility test. */
    static Atomic<int32_t> ctsTestCount;
    /** 0 one application, 1 several with different codes, 2 several and a forced low rate. */
    static Atomic<int32_t> underMultiAppStatus;

    /** Outermost lock: serialises events and decisions. */
    static Mutex decisionMutex;
    static std::string focusApp GUARDED_BY(decisionMutex);
    static std::unordered_set<std::string> visibleAppSet GUARDED_BY(decisionMutex);
    static std::string fingerprintPkgName GUARDED_BY(decisionMutex);

    /** Written with decisionMutex held, too; readers need only this leaf. */
    static Mutex pkgMutex ACQUIRED_AFTER(decisionMutex);
    static std::string currentPkgName GUARDED_BY(pkgMutex);
    /** Grows with every change of currentPkgName; a cached view of it so knows when it is old. */
    static Atomic<uint32_t> foregroundChanges;

    /** Never held across a binder call. */
    static Mutex appTypeMapMutex ACQUIRED_AFTER(decisionMutex);
    static std::unordered_map<std::string, int32_t> appTypeMap GUARDED_BY(appTypeMapMutex);
    static android::sp<android::IServiceManager> sm GUARDED_BY(appTypeMapMutex);
    /** The classification service. */
    static android::sp<android::IBinder> service GUARDED_BY(appTypeMapMutex);

    /** Codes by setting and package; a package keeps its code for the life of the process. */
    using CodeCache = std::unordered_map<int32_t, std::unordered_map<std::string, int32_t>>;
    static Mutex codeCacheMutex ACQUIRED_AFTER(decisionMutex);
    static CodeCache appCodeCache GUARDED_BY(codeCacheMutex);
    static CodeCache gameCodeCache GUARDED_BY(codeCacheMutex);

  private:
    static void OnPackageInfoUpateLocked(const std::string& focus,
                                         const std::unordered_set<std::string>& visible,
                                         const std::string& current) REQUIRES(decisionMutex);
    static void DoWithPackageUpdateLocked(const std::string& pkg) REQUIRES(decisionMutex);
    static void ForeAppSwitchToGameLocked() REQUIRES(decisionMutex);
    static bool CodesDiffer(const std::string& focus,
                            const std::unordered_set<std::string>& visible) REQUIRES(decisionMutex);

    static void DecideUnlessFingerprintLocked() REQUIRES(decisionMutex);
    static Decision DecideLocked() REQUIRES(decisionMutex);
    static void DecideAndApplyLocked() REQUIRES(decisionMutex);
    static void Apply(const Decision& decision) REQUIRES(decisionMutex);

    static void SetAppStrategy() REQUIRES(decisionMutex);
    static void ResetAppStrategy() REQUIRES(decisionMutex);
    static void SetGameDynamicStrategy() REQUIRES(decisionMutex);
    static void SetGameConstHighStrategy() REQUIRES(decisionMutex);
    static void ResetGameStrategy() REQUIRES(decisionMutex);

    static bool IsGame(const std::string& pkg) { return GetPkgTypeByICMSManager(pkg) == kTypeGame; }

    /** The foreground package, for whoever holds decisionMutex: read without a copy. */
    static std::string foreground GUARDED_BY(decisionMutex);
};

}  // namespace KVT

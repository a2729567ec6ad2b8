// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "common/Codes.h"
#include "common/RememberedPackages.h"
#include "config/ConfigTables.h"
#include "peers/AppTypes.h"
#include "peers/CompositorNotices.h"
#include "peers/TypeAsker.h"
#include "policy/Decision.h"
#include "policy/DecisionLog.h"
#include "state/PolicyState.h"
#include "sync/Mutex.h"

namespace tinyxml2 {
class XMLElement;
}

namespace KVT {

class Dumper;

/**
 * The policy: all state that the choice of a refresh rate depends on, and the events that change
 * it.
 *
 * There are no instances. Events may arrive on any number of threads once Init has returned. The
 * dispatcher makes each a turn of its thread (common/Turn.h), since a peer that is asked about one
 * event may come back with another. Code of an integrator's own that hands events over does so in
 * Turn::Take, too: not in the middle of a turn, where the event would wait for itself.
 *
 * Package, power, setting and scene events are serialised by decisionMutex from their first store
 * to the end of the decision they lead to, so that the last decision has seen every input and at
 * most one strategy is armed. The atomic members are also read by strategies and detection, without
 * a lock.
 *
 * The types that an event needs are asked for without that lock, for a second at most. Those that
 * come later lead to a decision of their own.
 *
 * One source file a topic: Startup, ConfigChange, UserInputs, ForegroundSwitch, SceneEvents,
 * DecisionRun, TypesOfEvent, PackageCodes, PolicyDump, Why. What others read, and what only speaks to a peer, is inherited.
 */
class FpsCommon : public PolicyState,
                  public PolicyConfig,
                  public AppTypes,
                  public CompositorNotices {
  public:
    FpsCommon() = delete;

    // --- Start-up --------------------------------------------------------------------------------

    /** Starts everything. Called once, before the service is published. */
    static void Init();

    /**
     * Another configuration takes the place of the one in force, and is decided by: codes are
     * settled anew, and what the file says to others is handed on. The user's setting stays. An
     * event like those below; nothing happens while the policy is off.
     *
     * @param params the file's parameter group (XmlParser::FindGroup). A structure that is broken
     *               ends the process, as it does at start-up: to be checked before.
     */
    static void OnConfigChanged(const tinyxml2::XMLElement* params) EXCLUDES(decisionMutex);

    // --- Framework events ------------------------------------------------------------------------

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
    /**
     * Decides anew if one of these packages is in front, or visible to the latest event: their
     * types, which an earlier event had to do without, have become known.
     */
    static void OnTypesLearned(const std::vector<std::string>& pkgs) EXCLUDES(decisionMutex);
    /** Takes note of whether the foreground package is a game. */
    static void ForeAppSwitchToGame() EXCLUDES(decisionMutex);

    // --- Scene events ----------------------------------------------------------------------------

    /** Decides anew with a scene that is on (1) or off (0); another value leaves it as it was. */
    static void OnSceneFlag(Atomic<bool>& scene, int32_t value) EXCLUDES(decisionMutex);
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

    // --- The decision ----------------------------------------------------------------------------

    /** Decides anew, unless a fingerprint unlock is going on. */
    static void DoWithForeAppSwitch() EXCLUDES(decisionMutex);
    /** Decides anew: snapshot, pure decision, application. */
    static void DoWithForeAppSwitchInternal() EXCLUDES(decisionMutex);
    /** What the decision would be now, without acting on it; may ask for the package's type. */
    static Decision Decide() EXCLUDES(decisionMutex);
    /** Re-applies the CPU binding: the big cores, with setting 1 and outside games. */
    static void BindVipCpus();

    // --- Refresh-rate codes ----------------------------------------------------------------------

    /** Refresh-rate code of a game under the current setting. */
    static int32_t GetGameCode(const std::string& pkg) EXCLUDES(codeCacheMutex);
    /** Refresh-rate code of an application under the current setting. */
    static int32_t GetAppCode(const std::string& pkg, int32_t type) EXCLUDES(codeCacheMutex);
    /** Code that a decision would find for a package now; asking does not settle it. */
    static int32_t PeekCode(const std::string& pkg, int32_t type) EXCLUDES(codeCacheMutex);

    // --- What the compositor is told, where the policy knows what --------------------------------

    static void NotifyIsDynamicFreq();
    /** @param fps new panel rate in Hz. (The name is the interface's.) */
    static void NotifyParticalComposeThresholdToSF(int32_t fps) EXCLUDES(codeCacheMutex);

    // --- For dumps and the simulator -------------------------------------------------------------

    /** The policy's sections: foreground, strategy, panel, scenes, decisions, time at each rate. */
    static void Dump(Dumper* dumper);
    /** The section "why": the rate, its cause, and what would hold without that. */
    static void DumpWhy(Dumper* dumper);
    /** Decision runs, the last of them. */
    static DecisionLog decisions;

    // --- State -----------------------------------------------------------------------------------

    /** Outermost lock: serialises events and decisions. */
    static Mutex decisionMutex;
    static std::string focusApp GUARDED_BY(decisionMutex);
    static std::unordered_set<std::string> visibleAppSet GUARDED_BY(decisionMutex);
    static std::string fingerprintPkgName GUARDED_BY(decisionMutex);

    /**
     * Codes by setting and package; a package keeps its code while it is remembered, until the
     * configuration changes. Their mutex keeps the tables as they are, too. A leaf.
     */
    using CodeCache = std::unordered_map<int32_t, RememberedPackages<int32_t>>;
    static Mutex codeCacheMutex ACQUIRED_AFTER(decisionMutex);
    static CodeCache appCodeCache GUARDED_BY(codeCacheMutex);
    static CodeCache gameCodeCache GUARDED_BY(codeCacheMutex);

  private:
    /** Holds decisionMutex for an event, and knows the types that were asked for in it. */
    class SCOPED_CAPABILITY Event {
      public:
        Event() ACQUIRE(decisionMutex);
        /** Of packages: asks for what can be in front first. */
        Event(const std::string& focus, const std::unordered_set<std::string>& visible)
            ACQUIRE(decisionMutex);
        ~Event() RELEASE();
        Event(const Event&) = delete;
        Event& operator=(const Event&) = delete;

        /** Whether packages that were reported later are in front by now: these come too late. */
        bool isOvertaken() const { return mIsOvertaken; }
        /** Remembered, or the answer to this event; nothing as long as there is no answer. */
        std::optional<int32_t> typeOf(const std::string& pkg) const;
        /** Asks for a type that is not known, without the lock: any state may change meanwhile. */
        void ask(const std::string& pkg) REQUIRES(decisionMutex);
        /** The same for the packages last reported, as far as the choice among them needs it. */
        void askShown() REQUIRES(decisionMutex);

      private:
        void lock() ACQUIRE(decisionMutex);
        void learnShown(const std::string& focus, const std::unordered_set<std::string>& visible)
            EXCLUDES(decisionMutex);
        void learn(const std::vector<std::string>& pkgs);

        TypeAsker::Answers mAnswers;
        /** Until when this event waits for answers, all its questions together; 0 before any. */
        int64_t mDeadlineNs = 0;
        bool mIsOvertaken = false;
    };

    static void OnPackageInfoUpateInEvent(const std::string& focus,
                                          const std::unordered_set<std::string>& visible,
                                          const std::string& current) REQUIRES(decisionMutex);
    static const std::string* ChooseForeground(const std::string& focus,
                                               const std::unordered_set<std::string>& visible,
                                               const std::string& current) REQUIRES(decisionMutex);
    static void DoWithPackageUpdateInEvent(const std::string& pkg) REQUIRES(decisionMutex);
    static void ForeAppSwitchToGameInEvent() REQUIRES(decisionMutex);
    static void FollowGame() REQUIRES(decisionMutex);
    /** Looks at the packages last reported once more. @return whether another one is in front */
    static bool ChooseAgain() REQUIRES(decisionMutex);
    static bool CodesDiffer(const std::string& focus,
                            const std::unordered_set<std::string>& visible) REQUIRES(decisionMutex);

    /** A fingerprint unlock is not disturbed by other events. */
    enum When { kUnlessUnlocking, kInAnyCase };
    static void RunDecision(When when) REQUIRES(decisionMutex);
    static bool IsUnlocking(When when) {
        return when == kUnlessUnlocking && fingerprintStatus != 0;
    }
    static void LearnForeground(When when) REQUIRES(decisionMutex);
    static Decision FindDecision() REQUIRES(decisionMutex);
    static PolicySnapshot TakeSnapshot();
    static void Apply(const Decision& decision) REQUIRES(decisionMutex);

    static void SetAppStrategy();
    static void ResetAppStrategy();
    static void SetGameDynamicStrategy();
    static void SetGameConstHighStrategy();
    static void ResetGameStrategy();

    static void SetSceneFlag(Atomic<bool>& scene, int32_t value) REQUIRES(decisionMutex);

    static void DumpForeground(Dumper* dumper);
    /** The code of a package now, which stays as settled as it is. */
    static int32_t LookUpCode(int32_t setting, const std::string& pkg, int32_t type)
        REQUIRES(codeCacheMutex);

    /** Nothing as long as there is no answer: then one that comes decides anew. */
    static std::optional<int32_t> AnsweredType(const std::string& pkg) REQUIRES(decisionMutex);
    static int32_t TypeOf(const std::string& pkg) REQUIRES(decisionMutex) {
        return AnsweredType(pkg).value_or(kTypeUnknown);
    }
    static bool IsGame(const std::string& pkg) REQUIRES(decisionMutex) {
        return TypeOf(pkg) == kTypeGame;
    }
    /** Code of a package that is no game. It is not settled as long as the type may still come. */
    static int32_t AppCodeOf(const std::string& pkg) REQUIRES(decisionMutex);
    /** The foreground package, read without a copy. */
    static const std::string& Foreground() REQUIRES(decisionMutex) { return OwnPkgName(); }

    /** The event that holds decisionMutex. */
    static Event* currentEvent GUARDED_BY(decisionMutex);
    /** Whether what is in front was chosen among the packages last reported, or put there. */
    static bool isChosenFromShown GUARDED_BY(decisionMutex);
    /** Counts the events of packages. */
    static Atomic<uint64_t> packageEvents;
    /** The number of the latest that was acted on. */
    static uint64_t lastPackageEvent GUARDED_BY(decisionMutex);
};

}  // namespace KVT

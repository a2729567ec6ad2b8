// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/StrongPointer.h>

#include <cstdint>
#include <string>

#include "display/Cause.h"
#include "display/RateJournal.h"
#include "display/RateStats.h"
#include "sync/Atomic.h"
#include "sync/Mutex.h"

class DisplayEngineManager;

namespace android {
class DisplayFreqClient;
}

namespace KVT {

class Dumper;
class RateObserver;

/**
 * The one place through which the panel's refresh rate is changed and read. Rates are in Hz.
 *
 * A change is asked of the display service, confirmed by forcing frames until the panel reports the
 * new rate (up to nine reads, 144 ms), and then told to everyone concerned. Changes are serialised
 * by setFpsMutex; whoever is told must not come back for it. Any thread.
 */
class LcdFpsControl {
  public:
    LcdFpsControl() = delete;

    /** Connects to the display. Called once, at start-up. */
    static void Init();
    /** From now on `follower`, which lives to the end, hears of every change. At start-up. */
    static void SetObserver(RateObserver* follower) { observer = follower; }

    /** What is in front from now on, for the account of the changes. */
    static void OnPackage(const std::string& pkg);

    static void SetLcdFps(int32_t fps) { SetLcdFps(fps, Cause{}); }
    static void SetLcdFps(int32_t fps, const Cause& cause) EXCLUDES(setFpsMutex);
    /** Sets the panel back to a rate that was requested before; GetLastLcdFps() stays as it is. */
    static void RecoverLcdFps(int32_t fps) EXCLUDES(setFpsMutex);
    /** Sets the panel back to the rate last requested, if it shows another one. */
    static void RecoverLastLcdFps() EXCLUDES(setFpsMutex);
    /** The rate last requested, whether or not the panel took it. */
    static int32_t GetLastLcdFps() EXCLUDES(setFpsMutex);
    /** The rate the panel reports now; -1 when it can not be read. */
    static int32_t GetCurrentLcdFps();
    /** The last rate in the panel's list, which is not always its highest; 60 without a display. */
    static int32_t GetMaxLcdFps();
    /** Whether the panel's description could be read from the start until now. */
    static bool GetNewSchemeSupported();
    /** Whether the user's setting allows the high rate on a panel whose normal mode is "60n". */
    static void SetHighFreqOnFlag(bool on) EXCLUDES(setFpsMutex);

    /** Reserves the big cores for what is in front ("4-7"), or gives them back ("0-7"). */
    static void BindVipCpus(bool bind);

    /** What became of all changes so far. */
    static RateStats stats;
    /** The last of them one by one, each with its cause. */
    static RateJournal journal;

    /** The section "panel". */
    static void Dump(Dumper* dumper);

    /** Whoever follows the changes tells the compositor its partial-composition threshold. From the
     * configuration. */
    static Atomic<bool> particalComposeEnabled;

  private:
    static void WriteVipCpus(const char* cpus);
    static void RecoverLcdFpsInternal(int32_t fps) REQUIRES(setFpsMutex);
    static void SetLcdFpsInternal(int32_t fps, const Cause& cause) REQUIRES(setFpsMutex);
    /** @param shown the rate that the panel reported last */
    static bool TryRefreshFrame(int32_t fps, int32_t* shown) REQUIRES(setFpsMutex);

    // Set once, at start-up.
    static RateObserver* observer;
    static android::sp<android::DisplayFreqClient> client;
    static android::sp<DisplayEngineManager> manager;

    static Mutex setFpsMutex;
    static int32_t lastLcdFps GUARDED_BY(setFpsMutex);
    static bool highFreqOnFlag GUARDED_BY(setFpsMutex);
};

}  // namespace KVT

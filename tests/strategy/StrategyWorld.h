// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "sync/virtual/VirtualTime.h"

namespace KVT {

/**
 * What the strategies meet: panel, AI scheduler, performance service, game SDK and the log, all in
 * virtual time. Everything that happens is one line of the trace, in order: "<seconds since the
 * start> <what>".
 */
class StrategyWorld {
  public:
    /** One per process: enters virtual time; the check threads are not started yet. */
    static void Create(std::optional<uint64_t> seed = std::nullopt);
    /** Starts the four check threads and lets them come to rest. */
    static void StartCheckThreads();

    /** Sets the panel as the policy would, without a trace line. */
    static void PutPanelAt(int32_t hz);
    static int32_t Panel();
    /** How many forced frames, 16 ms each, a change of the panel takes from now on. */
    static void LetPanelObeyAfter(int32_t frames);
    /** Whether the game SDK accepts registrations from now on. */
    static void LetSdkRegister(bool success);
    /** Called for every line of the trace, on the thread that causes it. Set before any starts. */
    static void SetObserver(std::function<void(const std::string& what)> observer);

    static int32_t LastRateTold();
    static int Count(const std::string& what);
    static std::string Trace();
};

/** Something to be done at a point in time, milliseconds after the start. */
struct TimedAction {
    int64_t atMs;
    std::function<void()> action;
};

/** Does each action at its time, the others at rest, and goes on until `untilMs`. */
void Play(const std::vector<TimedAction>& actions, int64_t untilMs);

}  // namespace KVT

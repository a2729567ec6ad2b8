// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "sim/fakes/FakePhone.h"
#include "sync/virtual/VirtualTime.h"

namespace KVT {

/**
 * The strategies on a phone without a policy, in virtual time. Everything that happens is one line
 * of the trace, in order: "<seconds since the start> <what>".
 */
class StrategyWorld {
  public:
    /** One per process: enters virtual time; the check threads are not started yet. */
    static void Create(std::optional<uint64_t> seed = std::nullopt);
    /** Starts the four check threads and lets them come to rest. */
    static void StartCheckThreads();

    static sim::FakePhone& Phone();
    /** Called for every line of the trace, on the thread that causes it. Set before any starts. */
    static void SetObserver(std::function<void(const std::string& what)> observer);

    static int Count(const std::string& what);
    static std::string Trace();
};

using Action = std::function<void()>;

/** Something to be done at a point in time, milliseconds after the start. */
struct TimedAction {
    int64_t atMs;
    Action action;
};

/** Does each action at its time, the others at rest, and goes on until `untilMs`. */
void Play(const std::vector<TimedAction>& actions, int64_t untilMs);

}  // namespace KVT

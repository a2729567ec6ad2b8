// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <string>

#include "sim/Dice.h"
#include "sync/virtual/VirtualTime.h"

namespace KVT {

/**
 * One schedule: several actors and the check threads in virtual time, all chosen by the seed. Once
 * per process.
 *
 * @return what was broken, nullptr when nothing was
 */
const char* RunSchedule(uint64_t seed);

/** What happened in it, for people. */
std::string ScheduleTrace();

// ---- What scenarios are made of ----

/** The first rule that the schedule broke; nullptr as long as there is none. */
inline std::atomic<const char*> gBroken{nullptr};

inline void Require(bool holds, const char* rule) {
    const char* none = nullptr;
    if (!holds) {
        gBroken.compare_exchange_strong(none, rule);
    }
}

/** Threads of their own, which are joined at the end of the scope. */
class Actors {
  public:
    explicit Actors(uint64_t seed) : mSeed(seed) {}
    void start(const char* name, std::function<void(Dice)> body) {
        const Dice dice(mSeed, mThreads.size() + 1);
        mThreads.emplace_back(name, [dice, body = std::move(body)] { body(dice); });
    }

  private:
    const uint64_t mSeed;
    std::list<VirtualThread> mThreads;
};

/** Lets time pass, and everything that is due happen. */
inline void Rest(int64_t ns) {
    SleepFor(ns);
    VirtualTime::Settle();
}

}  // namespace KVT

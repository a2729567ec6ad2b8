// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>

namespace KVT {

/** One actor's choices: its own generator, so that actors do not depend on each other's order. */
class Dice {
  public:
    Dice(uint64_t seed, uint64_t actor) : mRandom(seed * 16 + actor) {}

    uint64_t below(uint64_t bound) { return mRandom() % bound; }
    /** True once in so many times. */
    bool onceIn(uint64_t times) { return below(times) == 0; }
    template <typename T, size_t N>
    T oneOf(const T (&choices)[N]) {
        return choices[below(N)];
    }

  private:
    std::mt19937_64 mRandom;
};

}  // namespace KVT

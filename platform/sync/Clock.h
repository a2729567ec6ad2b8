// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace KVT {

constexpr int64_t kNsPerUs = 1'000;
constexpr int64_t kNsPerMs = 1'000'000;
constexpr int64_t kNsPerS = 1'000'000'000;

/** Nanoseconds of the monotonic clock, which stands still while the phone is suspended. Never 0. */
int64_t MonotonicNow();

/** Nanoseconds of the boot-time clock: monotonic, suspend time included. Never 0. */
int64_t BootTimeNow();

/** Blocks the calling thread for `ns` nanoseconds; zero or less returns at once. */
void SleepFor(int64_t ns);

}  // namespace KVT

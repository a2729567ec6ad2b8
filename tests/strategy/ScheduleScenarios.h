// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace KVT {

/**
 * One schedule: several actors and the four check threads in virtual time, all chosen by the seed.
 * Odd seeds play a game, even ones an application. Once per process.
 *
 * @return what was broken, nullptr when nothing was
 */
const char* RunSchedule(uint64_t seed);

/** What happened in it, for people. */
std::string ScheduleTrace();

}  // namespace KVT

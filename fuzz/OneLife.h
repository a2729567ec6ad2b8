// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

namespace KVT::fuzz {

/**
 * Plays `life` in a process of its own, as the policy starts once in each. What it covered counts as
 * covered by this process, so that a fuzzer learns from it.
 *
 * @return how it ended, as waitpid() tells: 0 when `life` returned
 */
int EndOfALife(const std::function<void()>& life);

/** The same for a life that has to end well: if it does not, this process ends, too. */
void PlayALife(const std::function<void()>& life);

/** Ends the life that this is, well and on the spot, from any of its threads. */
[[noreturn]] void EndLife();

}  // namespace KVT::fuzz

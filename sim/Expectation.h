// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/EventTypes.h"

namespace KVT::sim {

/**
 * The event "expect", as EventType::prepare: notes in the world, and in the phone's journal, what is
 * not as a scenario expects it.
 */
Action Expect(Arguments& arguments);

}  // namespace KVT::sim

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "sim/Arguments.h"
#include "sim/World.h"

namespace KVT::sim {

using Action = std::function<void(World&)>;

/** A kind of line in a scenario. */
struct EventType {
    const char* name;
    const char* meaning;
    /** Checks the arguments and says what the event does. Throws ScenarioError. */
    std::function<Action(Arguments& arguments)> prepare;
    enum Kind { kHappens, kLooks, kEnds } kind = kHappens;
};

/** In the order in which they are listed. */
const std::vector<EventType>& EventTypes();

/** @return null when there is no such event */
const EventType* FindEventType(const std::string& name);

/** For a name that is none: "; did you mean touch?", or "". */
std::string MeantEvent(const std::string& name);

}  // namespace KVT::sim

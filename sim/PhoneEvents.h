// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/EventTypes.h"

namespace KVT::sim {

// Events of the phone around the service: what its services do from now on. As EventType::prepare.
Action Panel(Arguments& arguments);
Action PanelMoves(Arguments& arguments);
Action Types(Arguments& arguments);
Action Withdraw(Arguments& arguments);
Action Publish(Arguments& arguments);
Action Classification(Arguments& arguments);
Action Sdk(Arguments& arguments);

}  // namespace KVT::sim

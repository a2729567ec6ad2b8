// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/Dumper.h"

namespace KVT {

/**
 * Adds the policy's sections to a dump: foreground, strategy, panel, scenes, decisions, time at
 * each rate. Waits for no event in progress, so it also tells what a stuck service is stuck with.
 */
void DumpPolicy(Dumper* dumper);

}  // namespace KVT

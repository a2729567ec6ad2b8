// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>

#include <vector>

#include "tools/kvtctl/DumpTree.h"
#include "tools/kvtctl/Printer.h"
#include "tools/kvtctl/Why.h"

namespace KVT::ctl {

/** Five lines: who runs, by which configuration, with which peers, what the panel does, for whom. */
std::vector<Line> SummaryOf(const DumpTree& dump);

/** The same, and all sections. @param why the dump's, with its line in the configuration */
Json::Value StatusJsonOf(const DumpTree& dump, const Why& why);

}  // namespace KVT::ctl

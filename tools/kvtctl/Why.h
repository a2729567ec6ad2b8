// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tools/kvtctl/DumpTree.h"
#include "tools/kvtctl/Printer.h"

namespace KVT::ctl {

/** Why the panel is at its rate. */
struct Why {
    /** Hz; 0 when unknown, -1 when the panel could not be read. */
    int32_t hz = 0;
    int32_t askedHz = 0;
    bool followed = true;
    /** Since when it is so. */
    double seconds = 0;
    std::string cause;
    /** What that means: "power mode 4". */
    std::string because;
    /** The panel's, Hz, as the display service lists them: "60n" is another mode than "60". */
    std::vector<std::string> rates;

    std::string package;
    /** "com.example is a game of code 3 (game_pkg_perceptible_list, entry com.ex)" */
    std::string packageText;
    /** The list and entry that chose the code; "" where a default did. */
    std::string list;
    std::string entry;
    /** Of the service's configuration; "" when it does not say. */
    std::string configFile;
    /** Where the entry is in it; 0 for what is not known. */
    int configLine = 0;

    /** What would be in force otherwise; "" when nothing else can be. */
    std::string without;
    std::string withoutRate;

    /** What is not as it should be; so the answer may be another one than expected. */
    std::vector<std::string> degraded;
};

/** All but the line in the configuration, which takes the file. */
Why WhyOf(const DumpTree& dump);

/** What is not as it should be: peers, panel, configuration. */
std::vector<std::string> DegradedOf(const DumpTree& dump);

std::vector<Line> TextOf(const Why& why);
Json::Value JsonOf(const Why& why);

}  // namespace KVT::ctl

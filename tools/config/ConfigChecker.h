// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "tools/config/ConfigDocument.h"
#include "tools/config/PanelRates.h"

namespace KVT {

/** One thing in a configuration file that will not do what it seems to say. */
struct Finding {
    Position position;
    /** The service does not start with it: its process ends with an error line. */
    bool fatal = false;
    /** What it is, and what becomes of it. */
    std::string what;
    std::string expected;
};

/**
 * Finds everything in a configuration file that the service would ignore, read as something else or
 * end on, and every entry of a list that others of its kind keep from deciding.
 *
 * Works on the file alone, and on what the panel can show where that is known; names and valid
 * values are the library's own tables.
 */
class ConfigChecker {
  public:
    /** All findings, in the order of the file. */
    static std::vector<Finding> Check(const ConfigDocument& document, const PanelRates& rates = {});
};

/** "<line>:<column>: <what>; should be <expected>", "fatal: " before what ends the service. */
std::string TextOf(const Finding& finding);

}  // namespace KVT

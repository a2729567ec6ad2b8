// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "policy/CodeChoice.h"
#include "policy/Decision.h"
#include "tools/config/ConfigDocument.h"

namespace KVT {

/** What a package gets under one user setting when nothing else goes on. */
struct Explanation {
    CodeChoice choice;
    Decision decision;
    /** "60 Hz", "held at 60 Hz" whatever the code, or the strategy that moves the panel. */
    std::string rate;
    /** The entry, default or rule that decided, with its line where the file has it. */
    std::string reason;
};

/**
 * The line of an entry in the lists of that name: of a package list its text up to a "*", of a type
 * list its number. 0 when there is none.
 *
 * @param document one without a fatal finding
 */
int LineOfEntry(const ConfigDocument& document, const std::string& list, const std::string& entry);

/**
 * Says which entry of a configuration file decides a package's refresh rate.
 *
 * Uses the library's own parser, tables (PolicyConfig::tables of this process) and choice. The
 * parser has no owner here: an explanation neither sets properties nor speaks to a compositor.
 */
class ConfigExplainer {
  public:
    /** @param document one without a fatal finding; it must outlive this object */
    explicit ConfigExplainer(const ConfigDocument& document);

    /** Setting in force when the user has chosen none. */
    int32_t defaultSetting() const;

    /** @param type application type, -1 unknown; a game's does not matter */
    Explanation explain(const std::string& pkg, int32_t type, bool game, int32_t setting) const;

  private:
    void parse();
    void parseCountLimit(const tinyxml2::XMLElement* composition);
    std::string reasonFor(const Decision& held) const;
    std::string reasonFor(const CodeChoice& choice, int32_t type, int32_t setting) const;

    const ConfigDocument& mDocument;
    const tinyxml2::XMLElement* mGroup = nullptr;
    /** Gives the limit of GPU compositions, where the file does. */
    const tinyxml2::XMLElement* mCountLimit = nullptr;
    /** Setting and name of the switches that the file gives. */
    std::set<std::pair<int32_t, std::string>> mGiven;
};

}  // namespace KVT

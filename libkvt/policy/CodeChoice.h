// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "config/ConfigTables.h"

namespace KVT {

/** A list of the configuration, and the switch whose value its members get. */
struct ListRule {
    std::string listName;
    const char* switchName;
};

// In the order in which they are looked at. The first list that a package is in counts, even where
// its switch then leaves the code alone.
extern const ListRule kGamePackages[2];
extern const ListRule kAppTypes[2];
extern const ListRule kAppPackages[2];

/** The refresh-rate code of a package, and what in the configuration chose it. */
struct CodeChoice {
    int32_t code = 0;
    /** The switch whose value the code is. */
    const char* switchName = nullptr;
    /** The list that the package or its type is in; null when a default decided. */
    const char* listName = nullptr;
    /** The entry of that list which begins the package's name; null for a type list. */
    const std::string* prefix = nullptr;
};

// Pure functions of the tables: the caches above them are FpsCommon's. As if there were no list whose
// name is `leftOut`, that of an earlier choice.
CodeChoice ChooseGameCode(const ConfigTables& tables, int32_t setting, std::string_view pkg,
                          const char* leftOut = nullptr);
CodeChoice ChooseAppCode(const ConfigTables& tables, int32_t setting, std::string_view pkg,
                         int32_t type, const char* leftOut = nullptr);

}  // namespace KVT

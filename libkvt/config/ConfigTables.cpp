// SPDX-License-Identifier: Apache-2.0
#include "config/ConfigTables.h"

namespace KVT {

ConfigTables PolicyConfig::tables;

const std::unordered_set<int32_t> validFpsCodes = {0, 1, 2, 3, 4, 5, 6, 9};
const std::unordered_set<int32_t> validLcdSettings = {0, 1, 2};
const std::unordered_set<std::string> settingSwitchNames = {
    "app_default",
    "game_default",
    "app_perceptible_switch",
    "app_imperceptible_switch",
    "game_perceptible_switch",
    "game_imperceptible_switch",
};
const std::unordered_set<std::string> applicationListNames = {
    "app_type_perceptible_list",  "app_type_imperceptible_list", "app_pkg_perceptible_list",
    "app_pkg_imperceptible_list", "game_pkg_perceptible_list",   "game_pkg_imperceptible_list",
};

}  // namespace KVT

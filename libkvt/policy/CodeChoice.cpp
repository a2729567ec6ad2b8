// SPDX-License-Identifier: Apache-2.0
#include "policy/CodeChoice.h"

namespace KVT {

const ListRule kGamePackages[] = {{"game_pkg_perceptible_list", "game_perceptible_switch"},
                                  {"game_pkg_imperceptible_list", "game_imperceptible_switch"}};
const ListRule kAppTypes[] = {{"app_type_perceptible_list", "app_perceptible_switch"},
                              {"app_type_imperceptible_list", "app_imperceptible_switch"}};
const ListRule kAppPackages[] = {{"app_pkg_perceptible_list", "app_perceptible_switch"},
                                 {"app_pkg_imperceptible_list", "app_imperceptible_switch"}};

namespace {

/** A switch that the file does not set for this user setting reads as 0. */
int32_t SwitchValue(const ConfigTables& tables, int32_t setting, const char* name) {
    const auto row = tables.settingSwitchMap.find(setting);
    if (row == tables.settingSwitchMap.end()) {
        return 0;
    }
    const auto found = row->second.find(name);
    return found == row->second.end() ? 0 : found->second;
}

CodeChoice ChooseDefault(const ConfigTables& tables, int32_t setting, const char* switchName) {
    return {SwitchValue(tables, setting, switchName), switchName};
}

/** Takes the list's switch, unless its value says that the list changes nothing. */
void Override(CodeChoice* choice, const ConfigTables& tables, int32_t setting, const ListRule& rule,
              const std::string* prefix) {
    const int32_t value = SwitchValue(tables, setting, rule.switchName);
    if (value >= 1) {
        *choice = {value, rule.switchName, rule.listName.c_str(), prefix};
    }
}

template <size_t N>
void OverrideByPackage(CodeChoice* choice, const ConfigTables& tables,
                       const std::unordered_map<std::string, PrefixSet>& lists, int32_t setting,
                       std::string_view pkg, const ListRule (&rules)[N], const char* leftOut) {
    for (const ListRule& rule : rules) {
        const auto list = lists.find(rule.listName);
        if (list == lists.end() || rule.listName.c_str() == leftOut) {
            continue;
        }
        if (const std::string* prefix = list->second.findPrefixOf(pkg); prefix != nullptr) {
            return Override(choice, tables, setting, rule, prefix);
        }
    }
}

void OverrideByType(CodeChoice* choice, const ConfigTables& tables, int32_t setting, int32_t type,
                    const char* leftOut) {
    for (const ListRule& rule : kAppTypes) {
        const auto list = tables.appTypeFilterMap.find(rule.listName);
        if (list != tables.appTypeFilterMap.end() && list->second.count(type) != 0 &&
            rule.listName.c_str() != leftOut) {
            return Override(choice, tables, setting, rule, nullptr);
        }
    }
}

}  // namespace

CodeChoice ChooseGameCode(const ConfigTables& tables, int32_t setting, std::string_view pkg,
                          const char* leftOut) {
    CodeChoice choice = ChooseDefault(tables, setting, "game_default");
    OverrideByPackage(&choice, tables, tables.gameFilterMap, setting, pkg, kGamePackages, leftOut);
    return choice;
}

CodeChoice ChooseAppCode(const ConfigTables& tables, int32_t setting, std::string_view pkg,
                         int32_t type, const char* leftOut) {
    CodeChoice choice = ChooseDefault(tables, setting, "app_default");
    OverrideByType(&choice, tables, setting, type, leftOut);
    OverrideByPackage(&choice, tables, tables.appPkgFilterMap, setting, pkg, kAppPackages, leftOut);
    return choice;
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "config/XmlParser.h"
#include "policy/CodeChoice.h"
#include "policy/FpsCommon.h"

namespace KVT {
namespace {

/** Setting 1 of a file in which every switch and list can be told from every other. */
ConfigTables Distinct() {
    ConfigTables tables;
    tables.settingSwitchMap[1] = {{"app_default", 1},
                                  {"game_default", 2},
                                  {"app_perceptible_switch", 3},
                                  {"app_imperceptible_switch", 4},
                                  {"game_perceptible_switch", 5},
                                  {"game_imperceptible_switch", 6}};
    tables.settingSwitchMap[2] = {{"app_default", 1}, {"app_perceptible_switch", 0}};
    tables.appTypeFilterMap["app_type_perceptible_list"] = {10, 12};
    tables.appTypeFilterMap["app_type_imperceptible_list"] = {11, 12};
    tables.appPkgFilterMap["app_pkg_perceptible_list"].insert("com.high");
    for (const char* low : {"com.low", "com.high.low"}) {
        tables.appPkgFilterMap["app_pkg_imperceptible_list"].insert(low);
    }
    tables.gameFilterMap["game_pkg_perceptible_list"].insert("com.high");
    tables.gameFilterMap["game_pkg_imperceptible_list"].insert("com.");
    return tables;
}

TEST(CodeChoice, PrefersPackageOverTypeOverDefault) {
    const ConfigTables tables = Distinct();
    const struct {
        bool game;
        int32_t setting;
        const char* pkg;
        int32_t type;
        int32_t code;
        const char* decidedBy;
    } cases[] = {
        {false, 1, "org.app", 0, 1, "app_default"},
        {false, 1, "org.app", 10, 3, "app_type_perceptible_list"},
        {false, 1, "org.app", 11, 4, "app_type_imperceptible_list"},
        {false, 1, "org.app", 12, 3, "app_type_perceptible_list"},
        {false, 1, "com.high.low", 11, 3, "app_pkg_perceptible_list"},
        {false, 1, "com.low.app", 10, 4, "app_pkg_imperceptible_list"},
        {false, 2, "com.high", 10, 1, "app_default"},
        {false, 2, "com.low", 11, 1, "app_default"},
        {false, 0, "com.high", 10, 0, "app_default"},
        {true, 1, "com.high.game", 9, 5, "game_pkg_perceptible_list"},
        {true, 1, "com.game", 9, 6, "game_pkg_imperceptible_list"},
        {true, 1, "org.game", 9, 2, "game_default"},
        {true, 2, "com.high.game", 9, 0, "game_default"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.pkg) + " " + std::to_string(c.type));
        const CodeChoice choice = c.game ? ChooseGameCode(tables, c.setting, c.pkg)
                                         : ChooseAppCode(tables, c.setting, c.pkg, c.type);
        EXPECT_EQ(choice.code, c.code);
        EXPECT_STREQ(choice.listName != nullptr ? choice.listName : choice.switchName, c.decidedBy);
    }
}

TEST(PackageCode, IsKeptForEachSetting) {
    XmlParser::Init();
    FpsCommon::tables.appPkgFilterMap["app_pkg_perceptible_list"].insert("com.example");
    EXPECT_EQ(FpsCommon::GetAppCode("com.example.app", 1), 2);
    FpsCommon::lcdSetting = 1;
    EXPECT_EQ(FpsCommon::GetAppCode("com.example.app", 1), 9);
    EXPECT_EQ(FpsCommon::GetGameCode("com.example.app"), 9);
    FpsCommon::tables.settingSwitchMap.clear();
    EXPECT_EQ(FpsCommon::GetAppCode("com.example.app", 1), 9);
    EXPECT_EQ(FpsCommon::GetAppCode("com.example.new", 1), 0) << "no entry reads as code 0";
    FpsCommon::lcdSetting = 0;
    EXPECT_EQ(FpsCommon::GetAppCode("com.example.app", 1), 2);
}

}  // namespace
}  // namespace KVT

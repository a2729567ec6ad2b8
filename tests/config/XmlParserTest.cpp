// SPDX-License-Identifier: Apache-2.0
#include "config/XmlParser.h"

#include <android-base/stringprintf.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <array>
#include <functional>

#include "display/LcdFpsControl.h"
#include "tests/support/Bytes.h"
#include "tests/support/Phone.h"

namespace KVT {
namespace {

using testing::Contains;
using testing::ElementsAre;

class Config : public Phone {
  public:
    Config() {
        XmlParser::Init();
        builtIn = tables.settingSwitchMap;
    }

    void parse(const std::string& text) {
        ASSERT_TRUE(android::base::WriteStringToFile(text, path("kvt_config.xml")));
        XmlParser::ParseXmlConfigFile();
    }
    void sections(const std::string& text) { parse(ConfigWith(text)); }

    const ConfigTables& tables = FpsCommon::tables;
    std::map<int32_t, std::map<std::string, int32_t, std::less<>>> builtIn;
};

TEST_F(Config, HasBuiltInCodesForEverySetting) {
    const std::pair<const char*, std::array<int32_t, 3>> rows[] = {
        {"app_default", {2, 3, 3}},
        {"game_default", {2, 9, 3}},
        {"app_perceptible_switch", {2, 9, 3}},
        {"app_imperceptible_switch", {2, 2, 3}},
        {"game_perceptible_switch", {2, 3, 3}},
        {"game_imperceptible_switch", {2, 2, 3}},
    };
    auto expected = decltype(builtIn)();
    for (const auto& [name, codes] : rows) {
        for (int32_t setting = 0; setting < 3; ++setting) {
            expected[setting][name] = codes[static_cast<size_t>(setting)];
        }
    }
    EXPECT_EQ(builtIn, expected);
    FpsCommon::tables.settingSwitchMap[1]["app_default"] = 6;
    XmlParser::Init();
    EXPECT_EQ(tables.settingSwitchMap.at(1).find("app_default")->second, 6)
        << "an entry that is there stays";
}

TEST_F(Config, KeepsBuiltInValuesWithoutAUsableFile) {
    std::string bottomless = "<Config>";
    for (int i = 0; i < 100000; ++i) {
        bottomless += "<a>";
    }
    const std::string failed = "failed to load file: " + path("kvt_config.xml");
    const std::string noConfig = "could not find element 'Config'";
    const std::pair<std::string, std::string> cases[] = {
        {"", failed},
        {"<Config><Params name=\"dynamic_fps_config\">", failed},
        {"setting_switch=1", failed},
        {bottomless, failed},
        {"<config/>", noConfig},
        {"<Config/>", ""},
        {"<Config><Params name=\"other\"><Param name=\"force_multi_app_lcd_fps\" value=\"1\"/>"
         "</Params></Config>",
         ""},
    };
    for (const auto& [text, line] : cases) {
        SCOPED_TRACE(text.substr(0, 100));
        parse(text);
        EXPECT_EQ(logs.take(), line.empty() ? std::vector<std::string>()
                                            : std::vector{"E/KVTService: fpscommon: xml: " + line});
        EXPECT_EQ(tables.settingSwitchMap, builtIn);
        EXPECT_FALSE(tables.multiAppLcdFpsSwitch);
    }
}

TEST_F(Config, LoadsPlainFilesOnly) {
    ASSERT_EQ(mkdir(path("folder").c_str(), 0755), 0);
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0644), 0);
    for (const char* name : {"folder", "pipe", "nothing"}) {
        SetPaths({path(name), path("cpus")});
        XmlParser::ParseXmlConfigFile();
        EXPECT_THAT(logs.take(), ElementsAre("E/KVTService: fpscommon: xml: failed to load file: " +
                                             path(name)));
    }
}

TEST_F(Config, ReadsSettingSwitches) {
    sections(R"(<Param name="setting_switch">
        <setting id="1">
          <switch name="game_default" value="7"/>
          <switch name="app_default" value="0"/>
          <switch name="app_perceptible_switch" value="4"/>
          <switch name="unknown_switch" value="4"/>
          <other name="app_default" value="6"/>
        </setting>
        <setting id="2"><switch name="app_perceptible_switch" value="0"/>
                        <switch name="game_imperceptible_switch" value="8"/></setting>
        <setting id="5"><switch name="app_default" value="6"/></setting>
        <setting><switch name="app_default" value="4"/></setting>
      </Param>)");
    auto expected = builtIn;
    expected[1]["app_perceptible_switch"] = 4;
    expected[2]["app_perceptible_switch"] = 0;
    expected[2]["game_imperceptible_switch"] = 0;
    expected[5]["app_default"] = 6;
    expected[0]["app_default"] = 4;
    EXPECT_EQ(tables.settingSwitchMap, expected);
}

TEST_F(Config, ReadsScalars) {
    const std::map<std::string, std::function<int32_t()>> read = {
        {"setting_switch_id_default", [this] { return tables.defaultSettingId; }},
        {"force_multi_app_lcd_fps", [this] { return tables.multiAppLcdFpsSwitch; }},
        {"TP_pointer_position_switch", [this] { return tables.tpPointerSwitch; }},
    };
    const struct {
        const char* name;
        const char* value;
        int32_t expected;
    } cases[] = {
        {"setting_switch_id_default", "value='1'", 1},
        {"setting_switch_id_default", "value='3'", 0},
        {"setting_switch_id_default", "value='4294967298'", 2},
        {"setting_switch_id_default", "value='2'/><Param name='setting_switch_id_default'", 0},
        {"force_multi_app_lcd_fps", "value='1'", 1},
        {"force_multi_app_lcd_fps", "value='2'", 0},
        {"force_multi_app_lcd_fps", "value=' 0X1'", 1},
        {"TP_pointer_position_switch", "value='0'", 0},
        {"TP_pointer_position_switch", "value='2'", 1},
        {"TP_pointer_position_switch", "", 0},
    };
    for (const auto& c : cases) {
        sections("<Param name='" + std::string(c.name) + "' " + c.value + "/>");
        EXPECT_EQ(read.at(c.name)(), c.expected) << c.name << " " << c.value;
    }
}

TEST_F(Config, ReadsApplicationListsAndPrintsItsTables) {
    FpsCommon::tables.settingSwitchMap = {{1, {{"b", 2}, {"a", 1}}}};
    sections(R"(<Param name="application_list">
          <list name="app_type_perceptible_list"><type>1</type><type> 2x</type></list>
          <list name="app_pkg_perceptible_list">
            <pkg><!-- no text --><!-- nor this -->com.first</pkg></list>
        </Param>
        <Param name="application_list">
          <list name="app_type_imperceptible_list"><type><!-- --> 3x</type></list>
          <list name="app_pkg_perceptible_list"><pkg>com.example.*.more</pkg><pkg>*</pkg></list>
          <list name="app_pkg_imperceptible_list"><type>5</type></list>
          <list name="game_pkg_perceptible_list"><pkg>com.game</pkg></list>
          <list name="other_list"><pkg>com.other</pkg></list>
        </Param>)");
    const std::string p = "I/KVTService: fpscommon: xml: ";
    EXPECT_THAT(
        logs.take(),
        ElementsAre(p + "setting default value: 0", p + "setting id 1", p + "setting: a, 1",
                    p + "setting: b, 2",
                    p + "appTypeFilterMap size 1",  // the second section starts types anew
                    p + "app type list app_type_imperceptible_list", p + "app type list: value 3",
                    p + "appPkgFilterMap size 1",  // a list without packages makes no entry
                    p + "app pkg list app_pkg_perceptible_list",
                    p + "app pkg list: value com.first", p + "app pkg list: value com.example.",
                    p + "app pkg list: value ", p + "gameFilterMap size 1",
                    p + "game pkg list game_pkg_perceptible_list",
                    p + "game pkg list: value com.game", p + "TP pointer switch value: 1",
                    p + "force multi-app lcd fps switch value: 0",
                    p + "high freq smart slide model config: "
                        "0 0.6 0.8 5000.0 0.6 0.8 15000.0 0.6 0.8"));
    sections(List("app_type_perceptible_list", "<type>99999999999</type>"));
    EXPECT_EQ(tables.appTypeFilterMap.at("app_type_perceptible_list").count(2147483647), 1u);
}

TEST_F(Config, ReadsTheFirstGroupOfItsNameOnly) {
    parse(R"(<Config><Params name="other"/>
        <Params name="dynamic_fps_config"/>
        <Params name="dynamic_fps_config"><Param name="force_multi_app_lcd_fps" value="1"/></Params>
        </Config>)");
    EXPECT_FALSE(tables.multiAppLcdFpsSwitch);
    EXPECT_EQ(logs.take().front(), "I/KVTService: fpscommon: xml: setting default value: 0")
        << "an empty group is printed, too";
}

TEST_F(Config, HandsCompositionParametersToTheCompositor) {
    const struct {
        const char* params;
        bool on;
        std::array<uint8_t, 5> values;  // switch, accumulation, penalty time, limit
    } cases[] = {
        {"", false, {1, 5, 20, 60, 1}},
        {"<sf_param name='sf_accum_time' value='8'/>", false, {1, 8, 20, 60, 1}},
        {"<sf_param name='switch' value='1'/><sf_param name='app_penalty_count' value='3'/>",
         true,
         {1, 5, 20, 60, 3}},
        {"", true, {1, 5, 20, 60, 3}},
        {"<sf_param name='switch' value='2'/><sf_param name='other' value='1'/>"
         "<sf_param name='sf_accum_count' value='7'/><sf_param name='app_penalty_time'/>",
         false,
         {2, 5, 7, 0, 3}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.params);
        sections(Section("SF_composition_config", c.params));
        const auto& [switchValue, time, count, penalty, limit] = c.values;
        Bytes bytes = FromHex("00000080 ffffffff 1b000000 ~'android.ui.ISurfaceComposer' 0000");
        for (const uint8_t value : {uint8_t{c.on}, time, count, penalty}) {
            bytes.insert(bytes.end(), {value, 0, 0, 0});
        }
        const auto calls = fakes.compositor->takeCalls();
        ASSERT_EQ(calls.size(), 1u);
        EXPECT_EQ(calls[0].code, 7014u);
        EXPECT_EQ(calls[0].flags, 1u);
        EXPECT_EQ(calls[0].bytes, bytes);
        EXPECT_THAT(logs.take(), Contains(android::base::StringPrintf(
                                     "I/KVTService: fpscommon: xml: switch %d, sfAccumTime %d, "
                                     "sfAccumCount %d, appPenaltyTime %d, appPenaltyCount %d",
                                     switchValue, time, count, penalty, limit)));
        EXPECT_EQ(tables.gpuCompositionSwitch, c.on);
        EXPECT_EQ(tables.gpuCompositionCountLimit, limit);
    }
}

TEST_F(Config, WritesTheSlideModel) {
    const struct {
        const char* params;
        const char* text;
    } cases[] = {
        {"", "0 0.600000 0.800000 5000.000000 0.600000 0.800000 15000.000000 0.600000 0.800000"},
        {R"(<slide_param name="low_velocity_friction_gain" value="2.0"/>
            <slide_param name="low_velocity_init_velocity_gain" value="1.999"/>
            <slide_param name="medium_velocity_level" value="-1"/>
            <slide_param name="medium_velocity_friction_gain"/>
            <slide_param name="high_velocity_level" value="20000"/>
            <slide_param name="high_velocity_friction_gain" value="nan"/>
            <slide_param name="high_velocity_init_velocity_gain" value="1"/>
            <slide_param name="high_velocity_init_velocity_gain" value="3"/>
            <slide_param name="unknown" value="1"/><slide_param name="switch" value="-3"/>)",
         "-3 0.600000 1.999000 5000.000000 0.600000 0.800000 20000.000000 0.600000 1.000000"},
    };
    for (const auto& c : cases) {
        sections(Section("high_freq_smart_slide_model_config", c.params));
        EXPECT_EQ(tables.slideModelParams, c.text);
        char value[PROPERTY_VALUE_MAX];
        property_get("persist.kvt.slide_model_parms", value, "");
        EXPECT_STREQ(value, c.text);
    }
}

TEST_F(Config, ReadsThePartialCompositionThreshold) {
    const struct {
        const char* params;
        const char* log;
        bool on;
    } cases[] = {
        {"<cfg_param name='high_freq_compose_threshold' value='20'/>", "switch 0", false},
        {"<cfg_param name='switch' value='1'/>", "switch 1", true},
        {"", "switch 0", true},
        {"<cfg_param name='switch' value='2'/>", "switch 2", false},
    };
    for (const auto& c : cases) {
        sections(Section("partical_compose_threshold_config", c.params));
        EXPECT_EQ(logs.take().front(), "I/KVTService: fpscommon: xml: " + std::string(c.log) +
                                           ", particalComposeThreshold 20");
        EXPECT_EQ(tables.partialComposeThreshold, 20);
        EXPECT_EQ(LcdFpsControl::particalComposeEnabled, c.on);
    }
}

}  // namespace
}  // namespace KVT

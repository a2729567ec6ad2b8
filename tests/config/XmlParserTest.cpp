// SPDX-License-Identifier: Apache-2.0
#include "config/XmlParser.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <functional>

#include "display/LcdFpsControl.h"
#include "tests/support/Bytes.h"
#include "tests/support/Phone.h"

namespace KVT {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

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
    const std::map<std::string, std::array<int32_t, 3>> expected = {
        {"app_default", {2, 3, 3}},
        {"game_default", {2, 9, 3}},
        {"app_perceptible_switch", {2, 9, 3}},
        {"app_imperceptible_switch", {2, 2, 3}},
        {"game_perceptible_switch", {2, 3, 3}},
        {"game_imperceptible_switch", {2, 2, 3}},
    };
    ASSERT_EQ(tables.settingSwitchMap.size(), 3u);
    for (const auto& [name, codes] : expected) {
        for (int32_t setting = 0; setting < 3; ++setting) {
            EXPECT_EQ(tables.settingSwitchMap.at(setting).find(name)->second,
                      codes[static_cast<size_t>(setting)])
                << name << " " << setting;
        }
    }
    FpsCommon::tables.settingSwitchMap[1]["app_default"] = 6;
    XmlParser::Init();
    EXPECT_EQ(tables.settingSwitchMap.at(1).find("app_default")->second, 6)
        << "an entry that is there stays";
}

TEST_F(Config, KeepsBuiltInValuesWithoutAUsableFile) {
    const std::string failed =
        "E/KVTService: fpscommon: xml: failed to load file: " + path("kvt_config.xml");
    const std::string noConfig = "E/KVTService: fpscommon: xml: could not find element 'Config'";
    const struct {
        const char* name;
        const char* text;
        std::vector<std::string> logs;
    } cases[] = {
        {"empty", "", {failed}},
        {"not closed", "<Config><Params name=\"dynamic_fps_config\">", {failed}},
        {"no XML", "setting_switch=1", {failed}},
        {"other root", "<config/>", {noConfig}},
        {"no group", "<Config/>", {}},
        {"other group",
         "<Config><Params name=\"other\"><Param name=\"force_multi_app_lcd_fps\" "
         "value=\"1\"/></Params></Config>",
         {}},
    };
    XmlParser::ParseXmlConfigFile();
    EXPECT_THAT(logs.take(), ElementsAre(failed)) << "missing";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        parse(c.text);
        EXPECT_EQ(logs.take(), c.logs);
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

TEST_F(Config, RefusesBottomlessNesting) {
    std::string text;
    for (int i = 0; i < 100000; ++i) {
        text += "<a>";
    }
    parse("<Config>" + text);
    EXPECT_EQ(logs.take().size(), 1u);
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
    const struct {
        const char* section;
        std::function<bool(const ConfigTables&)> holds;
    } cases[] = {
        {R"(<Param name="setting_switch_id_default" value="1"/>)",
         [](const ConfigTables& t) { return t.defaultSettingId == 1; }},
        {R"(<Param name="setting_switch_id_default" value="3"/>)",
         [](const ConfigTables& t) { return t.defaultSettingId == 0; }},
        {R"(<Param name="force_multi_app_lcd_fps" value="1"/>)",
         [](const ConfigTables& t) { return t.multiAppLcdFpsSwitch; }},
        {R"(<Param name="force_multi_app_lcd_fps" value="2"/>)",
         [](const ConfigTables& t) { return !t.multiAppLcdFpsSwitch; }},
        {R"(<Param name="TP_pointer_position_switch" value="0"/>)",
         [](const ConfigTables& t) { return !t.tpPointerSwitch; }},
        {R"(<Param name="TP_pointer_position_switch" value="2"/>)",
         [](const ConfigTables& t) { return t.tpPointerSwitch; }},
        {R"(<Param name="TP_pointer_position_switch"/>)",
         [](const ConfigTables& t) { return !t.tpPointerSwitch; }},
        {R"(<Param name="force_multi_app_lcd_fps" value=" 0X1"/>)",
         [](const ConfigTables& t) { return t.multiAppLcdFpsSwitch; }},
        {R"(<Param name="setting_switch_id_default" value="4294967298"/>)",
         [](const ConfigTables& t) { return t.defaultSettingId == 2; }},
        {R"(<Param name="TP_pointer_position_switch" value="1"/>
            <Param name="TP_pointer_position_switch" value="0"/>)",
         [](const ConfigTables& t) { return !t.tpPointerSwitch; }},
    };
    for (const auto& c : cases) {
        sections(c.section);
        EXPECT_TRUE(c.holds(tables)) << c.section;
    }
}

TEST_F(Config, ReadsApplicationLists) {
    sections(R"(<Param name="application_list">
          <list name="app_type_perceptible_list"><type>1</type><type> 2x</type>
              <type>99999999999</type></list>
          <list name="app_pkg_perceptible_list"><pkg><!-- no text --><!-- nor this -->com.first</pkg>
          </list>
        </Param>
        <Param name="application_list">
          <list name="app_type_imperceptible_list"><type><!-- -->3</type></list>
          <list name="app_pkg_perceptible_list"><pkg>com.example.*.more</pkg><pkg>*</pkg></list>
          <list name="app_pkg_imperceptible_list"><type>5</type></list>
          <list name="game_pkg_perceptible_list"><pkg>com.game</pkg></list>
          <list name="other_list"><pkg>com.other</pkg></list>
        </Param>)");
    ASSERT_EQ(tables.appTypeFilterMap.size(), 1u) << "the second section starts types anew";
    EXPECT_THAT(tables.appTypeFilterMap.at("app_type_imperceptible_list"), UnorderedElementsAre(3));
    ASSERT_EQ(tables.appPkgFilterMap.size(), 1u) << "a list without packages makes no entry";
    EXPECT_THAT(tables.appPkgFilterMap.at("app_pkg_perceptible_list"),
                UnorderedElementsAre("com.first", "com.example.", ""));
    EXPECT_THAT(tables.gameFilterMap.at("game_pkg_perceptible_list"),
                UnorderedElementsAre("com.game"));
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

TEST_F(Config, PrintsItsTables) {
    FpsCommon::tables.settingSwitchMap = {{1, {{"b", 2}, {"a", 1}}}};
    sections(R"(<Param name="application_list">
        <list name="app_type_perceptible_list"><type>7</type></list>
        <list name="app_pkg_perceptible_list"><pkg>com.app</pkg></list>
        <list name="game_pkg_perceptible_list"><pkg>com.game</pkg></list></Param>)");
    const std::string p = "I/KVTService: fpscommon: xml: ";
    EXPECT_THAT(
        logs.take(),
        ElementsAre(p + "setting default value: 0", p + "setting id 1", p + "setting: a, 1",
                    p + "setting: b, 2", p + "appTypeFilterMap size 1",
                    p + "app type list app_type_perceptible_list", p + "app type list: value 7",
                    p + "appPkgFilterMap size 1", p + "app pkg list app_pkg_perceptible_list",
                    p + "app pkg list: value com.app", p + "gameFilterMap size 1",
                    p + "game pkg list game_pkg_perceptible_list",
                    p + "game pkg list: value com.game", p + "TP pointer switch value: 1",
                    p + "force multi-app lcd fps switch value: 0",
                    p + "high freq smart slide model config: "
                        "0 0.6 0.8 5000.0 0.6 0.8 15000.0 0.6 0.8"));
}

TEST_F(Config, DiesOfABrokenStructureWithOneClearLine) {
    const struct {
        const char* section;
        const char* fault;
    } cases[] = {
        {"<Param value=\"1\"/>", ":2: element 'Param' without attribute 'name'"},
        {"<Param name=\"setting_switch\"><setting>\n<switch value=\"1\"/></setting></Param>",
         ":3: element 'switch' without attribute 'name'"},
        {"<Param name=\"application_list\">\n<list/></Param>",
         ":3: element 'list' without attribute 'name'"},
        {"<Param name=\"application_list\"><list name=\"app_pkg_perceptible_list\">\n\n<pkg/>"
         "</list></Param>",
         ":4: element 'pkg' without text"},
        {"<Param name=\"application_list\"><list name=\"app_type_perceptible_list\"><type/>"
         "</list></Param>",
         ":2: element 'type' without text"},
        {"<Param name=\"application_list\"><list name=\"app_type_perceptible_list\"><type>game"
         "</type></list></Param>",
         ":2: element 'type': text 'game' does not begin with a number"},
        {"<Param name=\"SF_composition_config\"><sf_param/></Param>",
         ":2: element 'sf_param' without attribute 'name'"},
        {"<Param name=\"high_freq_smart_slide_model_config\"><slide_param/></Param>",
         ":2: element 'slide_param' without attribute 'name'"},
        {"<Param name=\"partical_compose_threshold_config\"><cfg_param/></Param>",
         ":2: element 'cfg_param' without attribute 'name'"},
    };
    for (const auto& c : cases) {
        EXPECT_EXIT(
            {
                __android_log_set_logger(__android_log_stderr_logger);
                sections("\n" + std::string(c.section));
            },
            testing::KilledBySignal(SIGABRT), "fatal: .*kvt_config.xml" + std::string(c.fault));
    }
    EXPECT_EXIT(
        {
            __android_log_set_logger(__android_log_stderr_logger);
            parse("<Config>\n<Params/></Config>");
        },
        testing::KilledBySignal(SIGABRT), ":2: element 'Params' without attribute 'name'");
}

TEST_F(Config, HandsCompositionParametersToTheCompositor) {
    const std::string token = "00000080 ffffffff 1b000000 ~'android.ui.ISurfaceComposer' 0000";
    const struct {
        const char* params;
        std::string bytes;
        const char* log;
        bool on;
        int32_t limit;
    } cases[] = {
        {"", "00000000 05000000 14000000 3c000000",
         "switch 1, sfAccumTime 5, sfAccumCount 20, appPenaltyTime 60, appPenaltyCount 1", false,
         1},
        {R"(<sf_param name="sf_accum_time" value="8"/>)", "00000000 08000000 14000000 3c000000",
         "switch 1, sfAccumTime 8, sfAccumCount 20, appPenaltyTime 60, appPenaltyCount 1", false,
         1},
        {R"(<sf_param name="switch" value="1"/><sf_param name="app_penalty_count" value="3"/>)",
         "01000000 05000000 14000000 3c000000",
         "switch 1, sfAccumTime 5, sfAccumCount 20, appPenaltyTime 60, appPenaltyCount 3", true, 3},
        {"", "01000000 05000000 14000000 3c000000",
         "switch 1, sfAccumTime 5, sfAccumCount 20, appPenaltyTime 60, appPenaltyCount 3", true, 3},
        {R"(<sf_param name="switch" value="2"/><sf_param name="other" value="1"/>
            <sf_param name="sf_accum_count" value="7"/><sf_param name="app_penalty_time"/>)",
         "00000000 05000000 07000000 00000000",
         "switch 2, sfAccumTime 5, sfAccumCount 7, appPenaltyTime 0, appPenaltyCount 3", false, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.log);
        sections("<Param name=\"SF_composition_config\">" + std::string(c.params) + "</Param>");
        const auto calls = fakes.compositor->takeCalls();
        ASSERT_EQ(calls.size(), 1u);
        EXPECT_EQ(calls[0].code, 7014u);
        EXPECT_EQ(calls[0].flags, 1u);
        EXPECT_EQ(calls[0].bytes, FromHex(token + c.bytes));
        EXPECT_THAT(logs.take(), Contains("I/KVTService: fpscommon: xml: " + std::string(c.log)));
        EXPECT_EQ(tables.gpuCompositionSwitch, c.on);
        EXPECT_EQ(tables.gpuCompositionCountLimit, c.limit);
    }
}

TEST_F(Config, WritesTheSlideModel) {
    const struct {
        const char* params;
        const char* text;
    } cases[] = {
        {"", "0 0.600000 0.800000 5000.000000 0.600000 0.800000 15000.000000 0.600000 0.800000"},
        {R"(<slide_param name="switch" value="-3"/>
            <slide_param name="low_velocity_friction_gain" value="2.0"/>
            <slide_param name="low_velocity_init_velocity_gain" value="1.999"/>
            <slide_param name="medium_velocity_level" value="-1"/>
            <slide_param name="medium_velocity_friction_gain"/>
            <slide_param name="high_velocity_level" value="20000"/>
            <slide_param name="high_velocity_friction_gain" value="nan"/>
            <slide_param name="high_velocity_init_velocity_gain" value="1"/>
            <slide_param name="high_velocity_init_velocity_gain" value="3"/>
            <slide_param name="unknown" value="1"/>)",
         "-3 0.600000 1.999000 5000.000000 0.600000 0.800000 20000.000000 0.600000 1.000000"},
    };
    for (const auto& c : cases) {
        sections("<Param name=\"high_freq_smart_slide_model_config\">" + std::string(c.params) +
                 "</Param>");
        EXPECT_EQ(tables.slideModelParams, c.text);
        char value[PROPERTY_VALUE_MAX];
        property_get("persist.kvt.slide_model_parms", value, "");
        EXPECT_STREQ(value, c.text);
    }
}

TEST_F(Config, ReadsThePartialCompositionThreshold) {
    sections(R"(<Param name="partical_compose_threshold_config">
        <cfg_param name="high_freq_compose_threshold" value="20"/></Param>)");
    EXPECT_EQ(tables.partialComposeThreshold, 20);
    EXPECT_FALSE(LcdFpsControl::particalComposeEnabled);
    EXPECT_EQ(logs.take().front(),
              "I/KVTService: fpscommon: xml: switch 0, particalComposeThreshold 20");
    sections(R"(<Param name="partical_compose_threshold_config">
        <cfg_param name="switch" value="1"/></Param>)");
    EXPECT_TRUE(LcdFpsControl::particalComposeEnabled);
    EXPECT_EQ(logs.take().front(),
              "I/KVTService: fpscommon: xml: switch 1, particalComposeThreshold 20");
    sections(R"(<Param name="partical_compose_threshold_config">
        <cfg_param name="switch" value="2"/></Param>)");
    EXPECT_FALSE(LcdFpsControl::particalComposeEnabled);
}

TEST_F(Config, LoadsAHundredThousandEntries) {
    std::string list = "<Param name=\"application_list\"><list name=\"app_pkg_perceptible_list\">";
    for (int i = 0; i < 100000; ++i) {
        list += "<pkg>com.vendor" + std::to_string(i) + ".app</pkg>";
    }
    sections(list + "</list></Param>");
    EXPECT_EQ(tables.appPkgFilterMap.at("app_pkg_perceptible_list").size(), 100000u);
}

}  // namespace
}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "common/Turn.h"
#include "config/XmlParser.h"
#include "display/LcdFpsControl.h"
#include "tests/support/Phone.h"

namespace KVT {
namespace {

using testing::AllOf;
using testing::Contains;

const std::string kComposition =
    Section("SF_composition_config", "<sf_param name='switch' value='1'/>");
const std::string kHigh = Section("setting_switch",
                                  "<setting id='0'><switch name='app_default' value='2'/>"
                                  "<switch name='app_perceptible_switch' value='3'/>"
                                  "<switch name='game_perceptible_switch' value='3'/></setting>") +
                          Section("application_list",
                                  "<list name='app_type_perceptible_list'><type>2</type></list>"
                                  "<list name='app_pkg_perceptible_list'><pkg>app.a</pkg></list>"
                                  "<list name='game_pkg_perceptible_list'><pkg>game</pkg></list>");
const std::string kNoPointer = "<Param name='TP_pointer_position_switch' value='0'/>";
const std::string kForced = "<Param name='force_multi_app_lcd_fps' value='1'/>";
const std::string kOthers = kComposition + Section("high_freq_smart_slide_model_config", "") +
                            Section("partical_compose_threshold_config",
                                    "<cfg_param name='switch' value='1'/>"
                                    "<cfg_param name='high_freq_compose_threshold' value='20'/>");

class ConfigChange : public Phone {
  public:
    static void change(const std::string& sections) {
        tinyxml2::XMLDocument document(true, tinyxml2::PRESERVE_WHITESPACE);
        document.Parse(ConfigWith(sections).c_str());
        const auto* params = XmlParser::FindGroup(document.FirstChildElement("Config"));
        Turn::Take([params] { FpsCommon::OnConfigChanged(params); });
    }

    /** Something of each table, and of what is kept outside them. */
    static std::string inForce() {
        const ConfigTables& now = FpsCommon::tables;
        return testing::PrintToString(std::tuple(
            now.settingSwitchMap.at(0).find("app_perceptible_switch")->second, now.defaultSettingId,
            now.appTypeFilterMap.size(), now.appPkgFilterMap.size(), now.gameFilterMap.size(),
            now.tpPointerSwitch, now.multiAppLcdFpsSwitch, now.gpuCompositionSwitch,
            now.gpuCompositionCountLimit, LcdFpsControl::particalComposeEnabled.load(),
            now.partialComposeThreshold, now.slideModelParams.size()));
    }
};

TEST_F(ConfigChange, ReplacesEveryTableAndTellsOthers) {
    start();
    const std::string builtIn = inForce();
    const std::string everything =
        kHigh + kNoPointer + kForced + kOthers +
        "<Param name='setting_switch_id_default' value='2'/>" +
        Section("SF_composition_config", "<sf_param name='app_penalty_count' value='7'/>");
    change(everything);
    EXPECT_EQ(inForce(), "(3, 2, 1, 1, 1, false, true, true, 7, true, 20, 80)");
    EXPECT_THAT(told(), AllOf(Contains(7014u).Times(2), Contains(7015u).Times(1)));
    char value[PROPERTY_VALUE_MAX];
    property_get("persist.kvt.slide_model_parms", value, "");
    EXPECT_EQ(value, FpsCommon::tables.slideModelParams);
    change("");
    EXPECT_EQ(inForce(), builtIn) << "nothing is left";
    FpsCommon::switchAll = 60;
    change(everything);
    EXPECT_EQ(inForce(), builtIn) << "a policy that is off has no configuration";
}

TEST_F(ConfigChange, LeadsToOneDecision) {
    const struct {
        const char* what;
        void (*before)(ConfigChange& phone);
        std::string sections;
        std::vector<std::string> decided;
    } cases[] = {
        {"an application's code",
         [](auto& phone) { phone.focus("app.a"); },
         kHigh,
         {"app-fixed app-code 90"}},
        {"a game's code",
         [](auto& phone) { phone.focus("game"); },
         kHigh,
         {"game-const-high game-code 90"}},
        {"codes that differ now",
         [](auto& phone) {
             phone.packages("b", {"app.a", "b"});
         },
         kHigh,
         {"hold multi-app-mixed 90"}},
        {"several are held low now",
         [](auto& phone) {
             phone.packages("b", {"app.a", "b"});
         },
         kForced,
         {"hold multi-app-forced 60"}},
        {"a pointer counts no more",
         [](auto& phone) { phone.framework.send(TOUCH_POINTER, 1); },
         kNoPointer,
         {"app-fixed app-code 60"}},
        {"GPU composition counts no more",
         [](auto&) {
             change(kComposition);
             FpsCommon::OnGpuCompositionEventReceived(1);
         },
         "",
         {"app-fixed app-code 60"}},
        {"an unlock goes on",
         [](auto& phone) { phone.framework.fingerprint("bank", 1); },
         kHigh,
         {}},
        {"the user's setting stays",
         [](auto& phone) { phone.framework.send(LCD_SETTING, 1); },
         "<Param name='setting_switch_id_default' value='2'/>",
         {"app-fixed app-code 90"}},
    };
    for (const auto& c : cases) {
        apart([&] {
            type("game", kTypeGame);
            start();
            c.before(*this);
            const int32_t setting = FpsCommon::lcdSetting;
            decisions();
            change(c.sections);
            EXPECT_EQ(decisions(), c.decided) << c.what;
            EXPECT_EQ(FpsCommon::lcdSetting, setting) << c.what;
        });
    }
}

}  // namespace
}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "config/XmlParser.h"

#include <sys/stat.h>

#include <cstring>
#include <string>
#include <string_view>

#include "common/CleanText.h"
#include "common/Log.h"
#include "common/Paths.h"
#include "config/ConfigTables.h"
#include "config/XmlElements.h"

namespace KVT {

using tinyxml2::XMLDocument;
using tinyxml2::XMLElement;

namespace {

struct DefaultSwitch {
    const char* name;
    int32_t codes[3];  // by user setting
};

constexpr DefaultSwitch kDefaultSwitches[] = {
    {"app_default", {2, 3, 3}},
    {"game_default", {2, 9, 3}},
    {"app_perceptible_switch", {2, 9, 3}},
    {"app_imperceptible_switch", {2, 2, 3}},
    {"game_perceptible_switch", {2, 3, 3}},
    {"game_imperceptible_switch", {2, 2, 3}},
};

bool Contains(std::string_view name, std::string_view part) {
    return name.find(part) != std::string_view::npos;
}

/** Loads the document; something else than a plain file (a folder, a pipe) does not load. */
bool Load(XMLDocument* document, const char* path) {
    struct stat info {};
    return stat(path, &info) == 0 && S_ISREG(info.st_mode) &&
           document->LoadFile(path) == tinyxml2::XML_SUCCESS;
}

void ParseSwitch(int32_t settingId, const XMLElement* element, ConfigTables& tables) {
    const std::string name = RequiredName(element);
    if (settingSwitchNames.count(name) == 0) {
        return;
    }
    int32_t value = IntegerAttribute(element, "value");
    if (validFpsCodes.count(value) == 0) {
        value = 0;
    }
    // A default of 0, given or coerced, would leave packages without a code: the one before stays.
    if (Contains(name, "default") && value == 0) {
        return;
    }
    tables.settingSwitchMap[settingId][name] = value;
}

void ParsePackages(PrefixSet* prefixes, const XMLElement* list) {
    ForEachChild(list, "pkg", [prefixes](const XMLElement* element) {
        const std::string_view text = RequiredText(element);
        prefixes->insert(text.substr(0, text.find('*')));
    });
}

void ParseList(const XMLElement* list, ConfigTables& tables) {
    const std::string name = RequiredName(list);
    if (applicationListNames.count(name) == 0) {
        return;
    }
    if (Contains(name, "app_type")) {
        ForEachChild(list, "type", [&](const XMLElement* element) {
            tables.appTypeFilterMap[name].insert(RequiredNumber(element));
        });
    } else if (list->FirstChildElement("pkg") != nullptr) {
        auto& lists = Contains(name, "app_pkg") ? tables.appPkgFilterMap : tables.gameFilterMap;
        ParsePackages(&lists[name], list);
    }
}

}  // namespace

const XmlParser::Section XmlParser::kSections[] = {
    {"setting_switch", ParseSettingSwitch},
    {"setting_switch_id_default", ParseSettingDefaultId},
    {"application_list", ParseApplicationList},
    {"TP_pointer_position_switch", ParseTpPointerConfig},
    {"force_multi_app_lcd_fps", ParseMultiAppLcdFpsConfig},
    {"SF_composition_config", ParseSfCompositionConfig},
    {"high_freq_smart_slide_model_config", ParseSlideModelConfig},
    {"partical_compose_threshold_config", ParseParticalComposeThresholdConfig},
};

ConfigOwner* XmlParser::owner = nullptr;

void XmlParser::Init(ConfigTables& tables) {
    for (const DefaultSwitch& row : kDefaultSwitches) {
        for (int32_t setting = 0; setting < 3; ++setting) {
            tables.settingSwitchMap[setting].emplace(row.name, row.codes[setting]);
        }
    }
}

void XmlParser::ParseXmlConfigFile() {
    const char* path = GetPaths().configFile.c_str();
    XMLDocument document(true, tinyxml2::PRESERVE_WHITESPACE);
    if (!Load(&document, path)) {
        KVT_LOGE("fpscommon: xml: failed to load file: %s", path);
        return;
    }
    const XMLElement* config = document.FirstChildElement("Config");
    if (config == nullptr) {
        KVT_LOGE("fpscommon: xml: could not find element 'Config'");
        return;
    }
    if (const XMLElement* group = FindGroup(config); group != nullptr) {
        ParseHelper(group);
    }
}

const XMLElement* XmlParser::FindGroup(const XMLElement* config) {
    for (const XMLElement* params = config->FirstChildElement("Params"); params != nullptr;
         params = params->NextSiblingElement("Params")) {
        if (strcmp(RequiredName(params), "dynamic_fps_config") == 0) {
            return params;
        }
    }
    return nullptr;
}

void XmlParser::ParseHelper(const XMLElement* params, ConfigTables& tables) {
    ForEachChild(params, "Param", [&tables](const XMLElement* param) {
        const char* name = RequiredName(param);
        for (const Section& section : kSections) {
            if (strcmp(name, section.name) == 0) {
                section.parse(param, tables);
            }
        }
    });
    if (owner != nullptr) {
        owner->onParticalCompose(tables.particalComposeSwitch);
    }
    PrintXmlData(tables);
}

void XmlParser::ParseSettingSwitch(const XMLElement* param, ConfigTables& tables) {
    ForEachChild(param, "setting", [&tables](const XMLElement* setting) {
        const int32_t id = IntegerAttribute(setting, "id");
        ForEachChild(setting, "switch",
                     [&](const XMLElement* element) { ParseSwitch(id, element, tables); });
    });
}

void XmlParser::ParseSettingDefaultId(const XMLElement* param, ConfigTables& tables) {
    const int32_t id = IntegerAttribute(param, "value");
    tables.defaultSettingId = validLcdSettings.count(id) != 0 ? id : 0;
}

void XmlParser::ParseApplicationList(const XMLElement* param, ConfigTables& tables) {
    // Types start anew with each section; package lists of several sections add up.
    tables.appTypeFilterMap.clear();
    ForEachChild(param, "list", [&tables](const XMLElement* list) { ParseList(list, tables); });
}

void XmlParser::ParseTpPointerConfig(const XMLElement* param, ConfigTables& tables) {
    tables.tpPointerSwitch = IntegerAttribute(param, "value") != 0;
}

void XmlParser::ParseMultiAppLcdFpsConfig(const XMLElement* param, ConfigTables& tables) {
    tables.multiAppLcdFpsSwitch = IntegerAttribute(param, "value") == 1;
}

void XmlParser::PrintXmlData(const ConfigTables& tables) {
    KVT_LOGI("fpscommon: xml: setting default value: %d", tables.defaultSettingId);
    for (const auto& [id, switches] : tables.settingSwitchMap) {
        KVT_LOGI("fpscommon: xml: setting id %d", id);
        for (const auto& [name, code] : switches) {
            KVT_LOGI("fpscommon: xml: setting: %s, %d", name.c_str(), code);
        }
    }
    KVT_LOGI("fpscommon: xml: appTypeFilterMap size %d",
             static_cast<int>(tables.appTypeFilterMap.size()));
    for (const auto& [name, types] : tables.appTypeFilterMap) {
        KVT_LOGI("fpscommon: xml: app type list %s", name.c_str());
        for (const int32_t type : types) {
            KVT_LOGI("fpscommon: xml: app type list: value %d", type);
        }
    }
    KVT_LOGI("fpscommon: xml: appPkgFilterMap size %d",
             static_cast<int>(tables.appPkgFilterMap.size()));
    for (const auto& [name, prefixes] : tables.appPkgFilterMap) {
        KVT_LOGI("fpscommon: xml: app pkg list %s", name.c_str());
        for (const std::string& prefix : prefixes) {
            KVT_LOGI("fpscommon: xml: app pkg list: value %s", CleanText(prefix).c_str());
        }
    }
    KVT_LOGI("fpscommon: xml: gameFilterMap size %d",
             static_cast<int>(tables.gameFilterMap.size()));
    for (const auto& [name, prefixes] : tables.gameFilterMap) {
        KVT_LOGI("fpscommon: xml: game pkg list %s", name.c_str());
        for (const std::string& prefix : prefixes) {
            KVT_LOGI("fpscommon: xml: game pkg list: value %s", CleanText(prefix).c_str());
        }
    }
    KVT_LOGI("fpscommon: xml: TP pointer switch value: %d", tables.tpPointerSwitch);
    KVT_LOGI("fpscommon: xml: force multi-app lcd fps switch value: %d",
             tables.multiAppLcdFpsSwitch);
    KVT_LOGI("fpscommon: xml: high freq smart slide model config: %s",
             tables.slideModelParams.c_str());
}

}  // namespace KVT

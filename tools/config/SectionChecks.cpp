// SPDX-License-Identifier: Apache-2.0
#include "tools/config/SectionChecks.h"

#include <cutils/properties.h>
#include <algorithm>

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "config/ConfigTables.h"
#include "config/SlideModel.h"
#include "config/XmlElements.h"
#include "config/XmlParser.h"

namespace KVT {

using tinyxml2::XMLElement;

namespace {

std::vector<std::string> SectionNames() {
    std::vector<std::string> names;
    for (const XmlParser::Section& section : XmlParser::kSections) {
        names.emplace_back(section.name);
    }
    return names;
}

std::string OnLine(const XMLElement* element) {
    return "on line " + std::to_string(element->GetLineNum());
}

/** Whether strtof reads the whole text, as a finite decimal number. */
bool IsNumber(const char* text) {
    char* end = nullptr;
    const float value = strtof(text, &end);
    return end != text && Trimmed(end).empty() && std::isfinite(value) &&
           strpbrk(text, "xX") == nullptr;
}

const SlideParam& SlideParamOf(const char* name) {
    const SlideParam* row = kSlideParams;
    while (strcmp(row->name, name) != 0) {
        ++row;
    }
    return *row;
}

}  // namespace

const SectionChecks::Row SectionChecks::kRows[] = {
    {"setting_switch", &SectionChecks::settingSwitch, nullptr},
    {"setting_switch_id_default", &SectionChecks::settingDefaultId, "overrides"},
    {"application_list", &SectionChecks::applicationList, nullptr},
    {"TP_pointer_position_switch", &SectionChecks::tpPointer, "overrides"},
    {"force_multi_app_lcd_fps", &SectionChecks::multiApp, "overrides"},
    {"SF_composition_config", &SectionChecks::composition,
     "starts anew with what the compositor is sent, and keeps the other parameters of"},
    {"high_freq_smart_slide_model_config", &SectionChecks::slideModel, "overrides"},
    {"partical_compose_threshold_config", &SectionChecks::partialCompose, "adds to"},
};

void SectionChecks::group(const XMLElement* group) {
    mFindings.onlyAttributes(group, {"name"});
    mFindings.onlyChildren(group, "Param");
    ForEachChild(group, "Param", [this](const XMLElement* element) { param(element); });
    mLists.finish();
    finishSwitches();
}

void SectionChecks::finishSwitches() {
    const struct {
        const char* section;
        bool switched;
        const char* feature;
    } rows[] = {
        {"SF_composition_config", mCompositionSwitched, "the rule of GPU composition"},
        {"partical_compose_threshold_config", mPartialComposeSwitched, "partial composition"},
    };
    for (const auto& row : rows) {
        const auto section = mSections.find(row.section);
        if (section != mSections.end() && !row.switched) {
            mFindings.add(
                section->second,
                "section without parameter 'switch': " + std::string(row.feature) + " stays off",
                "a 'switch' of 1, or of 0");
        }
    }
}

void SectionChecks::param(const XMLElement* param) {
    const char* name = mFindings.requiredName(param);
    if (name == nullptr) {
        return;
    }
    for (const Row& row : kRows) {
        if (strcmp(name, row.name) != 0) {
            continue;
        }
        const auto [first, isNew] = mSections.emplace(name, param);
        if (!isNew && row.repeated != nullptr) {
            mFindings.add(param,
                          "section " + Quoted(name) + " " + row.repeated + " the one " +
                              OnLine(first->second),
                          "one section of that name");
        }
        return (this->*row.check)(param);
    }
    mFindings.add(param, "unknown section " + Quoted(name) + " is ignored",
                  OneOfNames(SectionNames()), "name");
}

void SectionChecks::settingSwitch(const XMLElement* param) {
    mFindings.onlyAttributes(param, {"name"});
    mFindings.onlyChildren(param, "setting");
    ForEachChild(param, "setting", [this](const XMLElement* setting) {
        mFindings.onlyAttributes(setting, {"id"});
        mFindings.onlyChildren(setting, "switch");
        const int32_t id = mFindings.integer(setting, "id");
        if (validLcdSettings.count(id) == 0) {
            mFindings.add(setting, "setting " + std::to_string(id) + " is never in force",
                          OneOfNumbers({validLcdSettings.begin(), validLcdSettings.end()}), "id");
        }
        if (setting->FirstChildElement("switch") == nullptr) {
            mFindings.add(setting, "setting " + std::to_string(id) + " without switches is ignored",
                          "at least one <switch>");
        }
        ForEachChild(setting, "switch",
                     [this, id](const XMLElement* element) { switchOf(id, element); });
    });
}

void SectionChecks::switchOf(int32_t setting, const XMLElement* element) {
    mFindings.onlyAttributes(element, {"name", "value"});
    mFindings.onlyChildren(element, nullptr);
    const char* name = mFindings.requiredName(element);
    if (name == nullptr) {
        return;
    }
    if (settingSwitchNames.count(name) == 0) {
        mFindings.add(element, "unknown switch " + Quoted(name) + " is ignored",
                      OneOfNames({settingSwitchNames.begin(), settingSwitchNames.end()}), "name");
        return;
    }
    std::vector<int32_t> codes = mRates.codes();
    int32_t value = mFindings.integer(element, "value");
    if (validFpsCodes.count(value) == 0) {
        mFindings.add(element, "code " + std::to_string(value) + " does not exist and reads as 0",
                      OneOfNumbers(codes), "value");
        value = 0;
    }
    if (value == 0 && strstr(name, "default") != nullptr) {
        codes.erase(std::remove(codes.begin(), codes.end(), 0), codes.end());
        mFindings.add(element, "a default of 0 is skipped: " + Quoted(name) + " stays as it was",
                      OneOfNumbers(codes), "value");
        return;
    }
    if (const std::string fault = mRates.faultOf(value); !fault.empty()) {
        mFindings.add(element, fault, OneOfNumbers(codes), "value");
    }
    const auto [first, isNew] = mSwitches.emplace(std::pair(setting, name), element);
    if (!isNew) {
        mFindings.add(element,
                      "switch " + Quoted(name) + " of setting " + std::to_string(setting) +
                          " overrides the one " + OnLine(first->second),
                      "given once");
    }
}

void SectionChecks::valueSection(const XMLElement* param) {
    mFindings.onlyAttributes(param, {"name", "value"});
    mFindings.onlyChildren(param, nullptr);
}

void SectionChecks::settingDefaultId(const XMLElement* param) {
    valueSection(param);
    const int32_t id = mFindings.integer(param, "value");
    if (validLcdSettings.count(id) == 0) {
        mFindings.add(param, "default setting " + std::to_string(id) + " reads as 0",
                      OneOfNumbers({validLcdSettings.begin(), validLcdSettings.end()}), "value");
    }
}

void SectionChecks::tpPointer(const XMLElement* param) {
    valueSection(param);
    mFindings.flag(param, "on");
}

void SectionChecks::multiApp(const XMLElement* param) {
    valueSection(param);
    mFindings.flag(param, "off");
}

template <typename Check>
void SectionChecks::paramSection(const XMLElement* param, const char* child,
                                 const std::vector<std::string>& names, Check check) {
    mFindings.onlyAttributes(param, {"name"});
    mFindings.onlyChildren(param, child);
    std::map<std::string, const XMLElement*> seen;
    ForEachChild(param, child, [&](const XMLElement* element) {
        mFindings.onlyAttributes(element, {"name", "value"});
        mFindings.onlyChildren(element, nullptr);
        const char* name = mFindings.requiredName(element);
        if (name == nullptr) {
            return;
        }
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            mFindings.add(element, "unknown parameter " + Quoted(name) + " is ignored",
                          OneOfNames(names), "name");
            return;
        }
        const auto [first, isNew] = seen.emplace(name, element);
        if (!isNew) {
            mFindings.add(element,
                          "parameter " + Quoted(name) + " repeats the one " + OnLine(first->second),
                          "given once");
        }
        check(element, name);
    });
}

void SectionChecks::composition(const XMLElement* param) {
    paramSection(param, "sf_param", {std::begin(kSfParamNames), std::end(kSfParamNames)},
                 [this](const XMLElement* element, const char* name) {
                     if (strcmp(name, "switch") == 0) {
                         mFindings.flag(element, "off");
                         mCompositionSwitched = true;
                         return;
                     }
                     const int32_t value = mFindings.integer(element, "value");
                     if (strcmp(name, "app_penalty_count") == 0 && value < 1) {
                         mFindings.add(element,
                                       "a limit of " + std::to_string(value) +
                                           " holds every package at 60 Hz, GPU composition or not",
                                       "at least 1", "value");
                     }
                 });
}

void SectionChecks::slideModel(const XMLElement* param) {
    std::vector<std::string> names = {"switch"};
    for (const SlideParam& row : kSlideParams) {
        names.emplace_back(row.name);
    }
    SlideModel model;
    paramSection(param, "slide_param", names, [&](const XMLElement* element, const char* name) {
        if (strcmp(name, "switch") == 0) {
            model.switchValue = mFindings.integer(element, "value");
        } else {
            model.set(name, FloatAttribute(element, "value"));
            slideParam(element, name);
        }
    });
    constexpr size_t kPropertyBytes = PROPERTY_VALUE_MAX - 1;
    if (const size_t size = model.text().size(); size > kPropertyBytes) {
        mFindings.add(param,
                      "the parameters' text has " + std::to_string(size) +
                          " bytes, which no property holds: it is not handed on",
                      "at most " + std::to_string(kPropertyBytes) + " bytes");
    }
}

void SectionChecks::slideParam(const XMLElement* element, const char* name) {
    const SlideParam& row = SlideParamOf(name);
    const std::string range =
        row.isGain ? "greater than 0 and less than 2" : std::string("greater than 0");
    const char* text = element->Attribute("value");
    if (text == nullptr) {
        mFindings.add(element, "parameter " + Quoted(name) + " without a value is ignored", range);
        return;
    }
    const float value = FloatAttribute(element, "value");
    if (!row.accepts(value)) {
        mFindings.add(element, "value " + Quoted(text) + " of " + Quoted(name) + " is ignored",
                      range, "value");
        return;
    }
    if (!IsNumber(text)) {
        mFindings.add(
            element,
            "value " + Quoted(text) + " of " + Quoted(name) + " reads as " + std::to_string(value),
            "a number " + range, "value");
    }
    // What is handed on has six decimals.
    if (const std::string written = std::to_string(value);
        !row.accepts(strtof(written.c_str(), nullptr))) {
        mFindings.add(
            element,
            "value " + Quoted(text) + " of " + Quoted(name) + " is handed on as " + written, range,
            "value");
    }
}

void SectionChecks::partialCompose(const XMLElement* param) {
    paramSection(param, "cfg_param", {std::begin(kComposeParamNames), std::end(kComposeParamNames)},
                 [this](const XMLElement* element, const char* name) {
                     if (strcmp(name, kComposeParamNames[0]) == 0) {
                         mFindings.flag(element, "off");
                         mPartialComposeSwitched = true;
                     } else {
                         mFindings.integer(element, "value");
                     }
                 });
}

}  // namespace KVT

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
    {"setting_switch", &SectionChecks::settingSwitch, false},
    {"setting_switch_id_default", &SectionChecks::settingDefaultId, true},
    {"application_list", &SectionChecks::applicationList, false},
    {"TP_pointer_position_switch", &SectionChecks::tpPointer, true},
    {"force_multi_app_lcd_fps", &SectionChecks::multiApp, true},
    {"SF_composition_config", &SectionChecks::composition, false},
    {"high_freq_smart_slide_model_config", &SectionChecks::slideModel, true},
    {"partical_compose_threshold_config", &SectionChecks::partialCompose, false},
};

void SectionChecks::group(const XMLElement* group) {
    mFindings.onlyAttributes(group, {"name"});
    mFindings.onlyChildren(group, "Param");
    mFindings.someChild(group, "Param", "parameter group without sections");
    ForEachChild(group, "Param", [this](const XMLElement* element) { param(element); });
    mLists.finish();
    finishSwitches();
}

void SectionChecks::finishSwitches() {
    const struct {
        const char* section;
        const char* feature;
    } rows[] = {
        {"SF_composition_config", "the rule of GPU composition"},
        {"partical_compose_threshold_config", "partial composition"},
    };
    for (const auto& row : rows) {
        const auto section = mSections.find(row.section);
        if (section != mSections.end() && mParameters[row.section].count("switch") == 0) {
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
        const XMLElement*& last = mSections[name];
        if (last != nullptr && row.overrides) {
            mFindings.add(param, "section " + Quoted(name) + " overrides the one " + OnLine(last),
                          "one section of that name");
        }
        (this->*row.check)(param);
        last = param;
        return;
    }
    mFindings.add(param, "unknown section " + Quoted(name) + " is ignored",
                  OneOfNames(SectionNames()), "name");
}

void SectionChecks::settingSwitch(const XMLElement* param) {
    mFindings.onlyAttributes(param, {"name"});
    mFindings.onlyChildren(param, "setting");
    mFindings.someChild(param, "setting", "section 'setting_switch' without settings");
    ForEachChild(param, "setting", [this](const XMLElement* setting) {
        mFindings.onlyAttributes(setting, {"id"});
        mFindings.onlyChildren(setting, "switch");
        const int32_t id = mFindings.integer(setting, "id");
        if (validLcdSettings.count(id) == 0) {
            mFindings.add(setting, "setting " + std::to_string(id) + " is never in force",
                          OneOfNumbers({validLcdSettings.begin(), validLcdSettings.end()}), "id");
        }
        mFindings.someChild(setting, "switch",
                            "setting " + std::to_string(id) + " without switches");
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
        first->second = element;
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
SectionChecks::Parameters SectionChecks::paramSection(const XMLElement* param, const char* child,
                                                      const std::vector<std::string>& names,
                                                      Check check) {
    mFindings.onlyAttributes(param, {"name"});
    mFindings.onlyChildren(param, child);
    Parameters given;
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
        const XMLElement*& last = given[name];
        if (last != nullptr) {
            mFindings.add(element, "parameter " + Quoted(name) + " repeats the one " + OnLine(last),
                          "given once");
        }
        last = element;
        check(element, name);
    });
    return given;
}

void SectionChecks::repeated(const XMLElement* param, Parameters given,
                             const std::vector<std::string>& anew) {
    const char* section = param->Attribute("name");
    Parameters& earlier = mParameters[section];
    std::map<std::string, std::vector<std::string>> fates;
    for (const auto& [name, element] : earlier) {
        const bool dropped = std::find(anew.begin(), anew.end(), name) != anew.end();
        const bool isGiven = given.count(name) != 0;
        const char* fate = isGiven ? "overrides" : dropped ? "drops" : "keeps";
        fates[fate].push_back(Quoted(name) + " " + OnLine(element));
        if (!isGiven && !dropped) {
            given.emplace(name, element);
        }
    }
    earlier = std::move(given);
    if (const XMLElement* last = mSections[section]; last != nullptr) {
        std::string what = "section " + Quoted(section) + " repeats the one " + OnLine(last);
        const char* separator = ": it ";
        for (const auto& [fate, parameters] : fates) {
            what += separator + fate + " " + Listed(parameters);
            separator = ", ";
        }
        mFindings.add(param, what, "one section of that name");
    }
}

void SectionChecks::composition(const XMLElement* param) {
    const std::vector<std::string> names(std::begin(kSfParamNames), std::end(kSfParamNames));
    const auto check = [this](const XMLElement* element, const char* name) {
        if (strcmp(name, "switch") == 0) {
            mFindings.flag(element, "off");
            return;
        }
        const int32_t value = mFindings.integer(element, "value");
        if (strcmp(name, "app_penalty_count") == 0 && value < 1) {
            mFindings.add(element,
                          "a limit of " + std::to_string(value) +
                              " holds every package at 60 Hz, GPU composition or not",
                          "at least 1", "value");
        }
    };
    repeated(param, paramSection(param, "sf_param", names, check),
             {"sf_accum_time", "sf_accum_count", "app_penalty_time"});
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
    const std::vector<std::string> names(std::begin(kComposeParamNames),
                                         std::end(kComposeParamNames));
    const auto check = [this](const XMLElement* element, const char* name) {
        if (strcmp(name, "switch") == 0) {
            mFindings.flag(element, "off");
        } else {
            mFindings.integer(element, "value");
        }
    };
    repeated(param, paramSection(param, "cfg_param", names, check), {});
}

}  // namespace KVT

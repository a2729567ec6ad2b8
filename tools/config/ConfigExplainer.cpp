// SPDX-License-Identifier: Apache-2.0
#include "tools/config/ConfigExplainer.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <optional>
#include <string_view>

#include "common/CleanText.h"
#include "common/Codes.h"
#include "common/KnownPackages.h"
#include "common/LeadingNumber.h"
#include "config/XmlElements.h"
#include "config/XmlParser.h"
#include "tools/config/PanelRates.h"

namespace KVT {

using tinyxml2::XMLElement;

namespace {

std::string RateOf(const Decision& decision) {
    const std::string hz = std::to_string(decision.rate) + " Hz";
    switch (decision.outcome) {
        case Outcome::kGameConstHigh:
            return hz + ", constant-high strategy";
        case Outcome::kGameDynamic:
            return "game dynamic strategy: " + hz + " first, then as the game's frame rate asks";
        case Outcome::kAppDynamic:
            return "app touch strategy: " + std::to_string(kHighHz) + " Hz on touch, " +
                   std::to_string(kLowHz) + " Hz after it";
        case Outcome::kHold:
            return "held at " + hz;
        default:
            return HasRateIndex(decision.rate) ? hz : hz + ", which no panel shows";
    }
}

/** The first `child` of the section's lists of that name whose text `matches`, or null. */
template <typename Matches>
const XMLElement* FindEntry(const XMLElement* section, const char* listName, const char* child,
                            Matches matches) {
    for (const XMLElement* list = section->FirstChildElement("list"); list != nullptr;
         list = list->NextSiblingElement("list")) {
        if (strcmp(list->Attribute("name"), listName) != 0) {
            continue;
        }
        for (const XMLElement* entry = list->FirstChildElement(child); entry != nullptr;
             entry = entry->NextSiblingElement(child)) {
            if (matches(TextOf(entry))) {
                return entry;
            }
        }
    }
    return nullptr;
}

const XMLElement* GroupOf(const ConfigDocument& document) {
    const XMLElement* config = document.xml().FirstChildElement("Config");
    return config == nullptr ? nullptr : XmlParser::FindGroup(config);
}

bool NamesTypes(const std::string& list) {
    return std::any_of(std::begin(kAppTypes), std::end(kAppTypes),
                       [&](const ListRule& rule) { return rule.listName == list; });
}

}  // namespace

int LineOfEntry(const ConfigDocument& document, const std::string& list, const std::string& entry) {
    const XMLElement* const group = GroupOf(document);
    if (group == nullptr) {
        return 0;
    }
    const bool byType = NamesTypes(list);
    const std::optional<int32_t> type = LeadingNumber(entry.c_str());
    int line = 0;
    ForEachChild(group, "Param", [&](const XMLElement* param) {
        if (strcmp(RequiredName(param), "application_list") != 0) {
            return;
        }
        const XMLElement* const found =
            byType ? FindEntry(param, list.c_str(), "type",
                               [&](const char* text) { return LeadingNumber(text) == type; })
                   : FindEntry(param, list.c_str(), "pkg", [&](std::string_view text) {
                         return text.substr(0, text.find('*')) == entry;
                     });
        // The first package entry was kept; types are those of the last section.
        if (found != nullptr && (line == 0 || byType)) {
            line = found->GetLineNum();
        }
    });
    return line;
}

ConfigExplainer::ConfigExplainer(const ConfigDocument& document)
    : mDocument(document), mGroup(GroupOf(document)) {
    XmlParser::SetOwner(nullptr);  // nobody is to act on what is read here
    // Once without the built-in values, to see what the file gives; then as the service does.
    PolicyConfig::tables = {};
    parse();
    for (const auto& [setting, switches] : PolicyConfig::tables.settingSwitchMap) {
        for (const auto& [name, code] : switches) {
            mGiven.emplace(setting, name);
        }
    }
    PolicyConfig::tables = {};
    XmlParser::Init();
    parse();
}

void ConfigExplainer::parse() {
    if (mGroup == nullptr) {
        return;
    }
    ForEachChild(mGroup, "Param", [this](const XMLElement* param) {
        const char* name = RequiredName(param);
        for (const XmlParser::Section& section : XmlParser::kSections) {
            if (strcmp(name, section.name) == 0) {
                section.parse(param, PolicyConfig::tables);
            }
        }
        if (strcmp(name, "SF_composition_config") == 0) {
            parseCountLimit(param);
        }
    });
}

void ConfigExplainer::parseCountLimit(const XMLElement* composition) {
    ForEachChild(composition, "sf_param", [this](const XMLElement* element) {
        if (strcmp(RequiredName(element), "app_penalty_count") == 0) {
            mCountLimit = element;
            PolicyConfig::tables.gpuCompositionCountLimit = IntegerAttribute(element, "value");
        }
    });
}

int32_t ConfigExplainer::defaultSetting() const {
    return PolicyConfig::tables.defaultSettingId;
}

Explanation ConfigExplainer::explain(const std::string& pkg, int32_t type, bool game,
                                     int32_t setting) const {
    const CodeChoice choice = game ? ChooseGameCode(PolicyConfig::tables, setting, pkg)
                                   : ChooseAppCode(PolicyConfig::tables, setting, pkg, type);
    const Decision decision = game ? DecideGame(choice.code) : DecideApp(choice.code);
    // Nothing happens but that the package is in front; some are held all the same.
    PolicySnapshot state;
    state.gpuCompositionCountLimit = PolicyConfig::tables.gpuCompositionCountLimit;
    state.ctsTestCount = IsCompatibilityTest(pkg) ? 1 : 0;
    if (const std::optional<Decision> held = DecideByScene(state); held.has_value()) {
        return {choice, *held, RateOf(*held), reasonFor(*held)};
    }
    return {choice, decision, RateOf(decision), reasonFor(choice, type, setting)};
}

std::string ConfigExplainer::reasonFor(const Decision& held) const {
    const std::string rule = "rule " + std::string(held.rule->name) + ": ";
    if (held.rule->name == std::string("compatibility-test")) {
        return rule + "packages of that name are compatibility tests";
    }
    return rule + "app_penalty_count is " +
           std::to_string(PolicyConfig::tables.gpuCompositionCountLimit) + ", line " +
           std::to_string(mCountLimit->GetLineNum()) + ", and no package has fewer starts";
}

std::string ConfigExplainer::reasonFor(const CodeChoice& choice, int32_t type,
                                       int32_t setting) const {
    std::string reason = choice.switchName;
    reason += mGiven.count({setting, choice.switchName}) != 0 ? ", as in the file" : ", built in";
    if (choice.listName == nullptr) {
        return reason;
    }
    const bool byPackage = choice.prefix != nullptr;
    const std::string entry = byPackage ? *choice.prefix : std::to_string(type);
    return reason + "; " + (byPackage ? "entry '" + CleanText(entry) + "'" : "type " + entry) +
           " of " + choice.listName + ", line " +
           std::to_string(LineOfEntry(mDocument, choice.listName, entry));
}

}  // namespace KVT

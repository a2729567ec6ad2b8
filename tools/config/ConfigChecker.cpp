// SPDX-License-Identifier: Apache-2.0
#include "tools/config/ConfigChecker.h"

#include <cstring>
#include <string_view>

#include "common/Codes.h"
#include "tools/config/Findings.h"
#include "tools/config/MarkupChecks.h"
#include "tools/config/SectionChecks.h"

namespace KVT {

using tinyxml2::XMLElement;

namespace {

constexpr const char* kGroup = "dynamic_fps_config";

/** The root: the first of its name, whatever stands beside it. */
const XMLElement* FindConfig(const ConfigDocument& document, Findings& findings) {
    const XMLElement* config = document.xml().FirstChildElement("Config");
    for (const tinyxml2::XMLNode* node = document.xml().FirstChild(); node != nullptr;
         node = node->NextSibling()) {
        if (node->ToText() != nullptr && !Trimmed(node->Value()).empty()) {
            findings.add(node,
                         "text " + Quoted(Trimmed(node->Value())) + " beside the root is ignored",
                         "nothing");
        } else if (node->ToElement() != nullptr && node != config) {
            findings.add(node, "element " + Quoted(node->Value()) + " beside the root is ignored",
                         "one <Config> in the file");
        }
    }
    if (document.hasZeroByte()) {
        findings.addForFile("what follows the first zero byte is ignored", "a text file");
    }
    if (config == nullptr) {
        findings.addForFile("no element 'Config': the built-in values hold", "a <Config>");
    }
    return config;
}

/** The group that is read: the first of its name. */
const XMLElement* FindGroup(const XMLElement* config, Findings& findings) {
    const XMLElement* group = nullptr;
    for (const XMLElement* params = config->FirstChildElement("Params"); params != nullptr;
         params = params->NextSiblingElement("Params")) {
        if (group != nullptr) {
            const char* name = params->Attribute("name");
            findings.add(params,
                         "parameter group " + Quoted(name == nullptr ? "" : name) +
                             " is ignored: the one on line " + std::to_string(group->GetLineNum()) +
                             " is read",
                         "one group " + Quoted(kGroup));
            continue;
        }
        const char* name = findings.requiredName(params);
        if (name != nullptr && strcmp(name, kGroup) == 0) {
            group = params;
        } else if (name != nullptr) {
            findings.add(params, "parameter group " + Quoted(name) + " is ignored", Quoted(kGroup),
                         "name");
        }
    }
    if (group == nullptr) {
        findings.add(config, "no parameter group " + Quoted(kGroup) + ": the built-in values hold",
                     "one <Params name=\"" + std::string(kGroup) + "\">");
    }
    return group;
}

}  // namespace

std::vector<Finding> ConfigChecker::Check(const ConfigDocument& document, const PanelRates& rates) {
    Findings findings(document);
    if (rates.fixesTheRate()) {
        findings.addForFile("on a panel whose last rate is " + std::to_string(kLowHz) +
                                " Hz or less the rate is fixed and no configuration read",
                            "for a panel with a higher rate at the end");
    }
    CheckMarkup(document, findings);
    if (const XMLElement* config = FindConfig(document, findings); config != nullptr) {
        findings.onlyAttributes(config, {});
        findings.onlyChildren(config, "Params");
        if (const XMLElement* group = FindGroup(config, findings); group != nullptr) {
            SectionChecks(findings, rates).group(group);
        }
    }
    return findings.sorted();
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "config/XmlElements.h"

#include <cctype>
#include <cstdlib>
#include <optional>

#include "common/Fatal.h"
#include "common/LeadingNumber.h"
#include "common/Paths.h"

namespace KVT {

using tinyxml2::XMLElement;
using tinyxml2::XMLNode;

namespace {

int32_t IntegerOf(const char* text) {
    while (isspace(static_cast<unsigned char>(*text)) != 0) {
        ++text;
    }
    const bool hexadecimal = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    return static_cast<int32_t>(hexadecimal ? strtoull(text, nullptr, 16)
                                            : static_cast<uint64_t>(strtoll(text, nullptr, 10)));
}

}  // namespace

const char* TextOf(const XMLElement* element) {
    const XMLNode* node = element->FirstChild();
    while (node != nullptr && node->ToComment() != nullptr) {
        node = node->NextSibling();
    }
    return node != nullptr && node->ToText() != nullptr ? node->Value() : nullptr;
}

int32_t IntegerAttribute(const XMLElement* element, const char* name) {
    const char* text = element->Attribute(name);
    return text == nullptr ? 0 : IntegerOf(text);
}

float FloatAttribute(const XMLElement* element, const char* name) {
    const char* text = element->Attribute(name);
    return text == nullptr ? 0 : strtof(text, nullptr);
}

const char* RequiredName(const XMLElement* element) {
    const char* name = element->Attribute("name");
    if (name == nullptr) {
        FatalAt(GetPaths().configFile.c_str(), element->GetLineNum(),
                "element '%s' without attribute 'name'", element->Name());
    }
    return name;
}

const char* RequiredText(const XMLElement* element) {
    const char* text = TextOf(element);
    if (text == nullptr) {
        FatalAt(GetPaths().configFile.c_str(), element->GetLineNum(), "element '%s' without text",
                element->Name());
    }
    return text;
}

int RequiredNumber(const XMLElement* element) {
    const char* text = RequiredText(element);
    const std::optional<int32_t> number = LeadingNumber(text);
    if (!number.has_value()) {
        FatalAt(GetPaths().configFile.c_str(), element->GetLineNum(),
                "element '%s': text '%s' does not begin with a number", element->Name(), text);
    }
    return *number;
}

}  // namespace KVT

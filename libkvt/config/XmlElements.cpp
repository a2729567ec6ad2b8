// SPDX-License-Identifier: Apache-2.0
#include "config/XmlElements.h"

#include <optional>

#include "common/Fatal.h"
#include "common/LeadingNumber.h"
#include "common/Paths.h"

namespace KVT {

using tinyxml2::XMLElement;

const char* RequiredName(const XMLElement* element) {
    const char* name = element->Attribute("name");
    if (name == nullptr) {
        FatalAt(GetPaths().configFile.c_str(), element->GetLineNum(),
                "element '%s' without attribute 'name'", element->Name());
    }
    return name;
}

const char* RequiredText(const XMLElement* element) {
    const char* text = element->GetText();
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

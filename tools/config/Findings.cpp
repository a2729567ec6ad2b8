// SPDX-License-Identifier: Apache-2.0
#include "tools/config/Findings.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <tuple>

#include "common/CleanText.h"
#include "config/XmlElements.h"

namespace KVT {

using tinyxml2::XMLAttribute;
using tinyxml2::XMLElement;
using tinyxml2::XMLNode;

namespace {

std::string Joined(const std::vector<std::string>& parts, const char* last) {
    std::string text;
    for (size_t i = 0; i < parts.size(); ++i) {
        text += i == 0 ? "" : i + 1 == parts.size() ? last : ", ";
        text += parts[i];
    }
    return text;
}

/** Fit for a terminal, and cut when long. Markup has "=" of its own, and a finding is no key. */
std::string Printable(std::string_view text) {
    constexpr size_t kShown = 80;
    const std::string clean = CleanText(text, "=");
    return std::string(Beginning(clean, kShown)) + (clean.size() > kShown ? "..." : "");
}

std::string TagOf(const XMLElement* element) {
    return "<" + Printable(element->Name()) + ">";
}

bool IsIntegerOfBase(std::string_view text, int base) {
    const std::string number(text);
    char* end = nullptr;
    errno = 0;
    const long value = strtol(number.c_str(), &end, base);
    return end != number.c_str() && *end == '\0' && errno == 0 && value >= INT32_MIN &&
           value <= INT32_MAX;
}

}  // namespace

std::string Quoted(std::string_view text) {
    return "'" + Printable(text) + "'";
}

std::string OnLine(const XMLElement* element) {
    return "on line " + std::to_string(element->GetLineNum());
}

std::string OneOfNames(std::vector<std::string> names) {
    std::sort(names.begin(), names.end());
    for (std::string& name : names) {
        name = Quoted(name);
    }
    return Joined(names, " or ");
}

std::string OneOfNumbers(std::vector<int32_t> values) {
    std::sort(values.begin(), values.end());
    std::vector<std::string> parts;
    parts.reserve(values.size());
    for (const int32_t value : values) {
        parts.push_back(std::to_string(value));
    }
    return Joined(parts, " or ");
}

std::string Listed(const std::vector<std::string>& parts) {
    return Joined(parts, " and ");
}

std::string_view Trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(kBlank);
    return first == std::string_view::npos
               ? std::string_view()
               : text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

bool IsDecimal(std::string_view text) {
    return IsIntegerOfBase(Trimmed(text), 10);
}

bool IsHexadecimal(std::string_view text) {
    const std::string_view number = Trimmed(text);
    return number.size() > 2 && number[0] == '0' && (number[1] == 'x' || number[1] == 'X') &&
           IsIntegerOfBase(number, 16);
}

void Findings::add(const XMLNode* at, std::string what, std::string expected) {
    mFindings.push_back({mDocument.of(at), false, std::move(what), std::move(expected)});
}

void Findings::add(const XMLElement* at, std::string what, std::string expected,
                   const char* attribute) {
    mFindings.push_back({mDocument.of(at, attribute), false, std::move(what), std::move(expected)});
}

void Findings::addFatal(const XMLElement* at, std::string what, std::string expected) {
    mFindings.push_back({mDocument.of(at), true, std::move(what), std::move(expected)});
}

void Findings::addAt(size_t offset, std::string what, std::string expected) {
    mFindings.push_back({mDocument.at(offset), false, std::move(what), std::move(expected)});
}

void Findings::addForFile(std::string what, std::string expected) {
    mFindings.push_back({{}, false, std::move(what), std::move(expected)});
}

void Findings::onlyAttributes(const XMLElement* element,
                              std::initializer_list<std::string_view> names) {
    for (const XMLAttribute* attribute = element->FirstAttribute(); attribute != nullptr;
         attribute = attribute->Next()) {
        if (std::find(names.begin(), names.end(), attribute->Name()) != names.end()) {
            continue;
        }
        add(element,
            "unknown attribute " + Quoted(attribute->Name()) + " of " + TagOf(element) +
                " is ignored",
            names.size() == 0 ? "no attribute" : OneOfNames({names.begin(), names.end()}),
            attribute->Name());
    }
}

void Findings::onlyChildren(const XMLElement* element, const char* name) {
    const std::string expected =
        name == nullptr ? "nothing within " + TagOf(element) : "<" + std::string(name) + ">";
    for (const XMLNode* child = element->FirstChild(); child != nullptr;
         child = child->NextSibling()) {
        if (const XMLElement* inner = child->ToElement(); inner != nullptr) {
            if (name == nullptr || strcmp(inner->Name(), name) != 0) {
                add(inner,
                    "element " + Quoted(inner->Name()) + " within " + TagOf(element) +
                        " is ignored",
                    expected);
            }
        } else if (child->ToText() != nullptr && !Trimmed(child->Value()).empty()) {
            add(child, "text " + Quoted(Trimmed(child->Value())) + " is ignored", expected);
        }
    }
}

void Findings::someChild(const XMLElement* element, const char* name, const std::string& what) {
    if (element->FirstChildElement(name) == nullptr) {
        add(element, what + " is ignored", "at least one <" + std::string(name) + ">");
    }
}

const char* Findings::requiredName(const XMLElement* element) {
    const char* name = element->Attribute("name");
    if (name == nullptr) {
        addFatal(element, TagOf(element) + " without attribute 'name'", "a name");
    }
    return name;
}

const char* Findings::requiredText(const XMLElement* element) {
    const char* text = TextOf(element);
    if (text == nullptr) {
        addFatal(element, TagOf(element) + " without text", "a text");
        return nullptr;
    }
    bool seen = false;
    for (const XMLNode* child = element->FirstChild(); child != nullptr;
         child = child->NextSibling()) {
        const bool first = !seen && child->ToText() != nullptr;
        if (!first && child->ToComment() == nullptr && child->ToUnknown() == nullptr) {
            add(child,
                (child->ToElement() != nullptr ? TagOf(child->ToElement())
                                               : Quoted(child->Value())) +
                    " after the text is ignored",
                "the text alone within " + TagOf(element));
        }
        seen = seen || first;
    }
    return text;
}

int32_t Findings::integer(const XMLElement* element, const char* attribute) {
    const int32_t value = IntegerAttribute(element, attribute);
    const char* text = element->Attribute(attribute);
    if (text == nullptr) {
        add(element,
            TagOf(element) + " without attribute " + Quoted(attribute) + ", which reads as 0",
            "an integer");
    } else if (!IsDecimal(text) && !IsHexadecimal(text)) {
        add(element,
            Quoted(attribute) + " of " + TagOf(element) + " is " + Quoted(text) +
                ", which reads as " + std::to_string(value),
            "an integer of 32 bits", attribute);
    }
    return value;
}

int32_t Findings::flag(const XMLElement* element, const char* otherwise) {
    const int32_t value = integer(element, "value");
    if (value != 0 && value != 1) {
        add(element, "switch value " + std::to_string(value) + " counts as " + otherwise, "0 or 1",
            "value");
    }
    return value;
}

std::vector<Finding> Findings::sorted() {
    std::stable_sort(mFindings.begin(), mFindings.end(), [](const Finding& a, const Finding& b) {
        return std::tie(a.position.line, a.position.column) <
               std::tie(b.position.line, b.position.column);
    });
    return mFindings;
}

std::string TextOf(const Finding& finding) {
    std::string text;
    if (finding.position.line > 0) {
        text += std::to_string(finding.position.line) + ":";
    }
    if (finding.position.column > 0) {
        text += std::to_string(finding.position.column) + ":";
    }
    return text + (text.empty() ? "" : " ") + (finding.fatal ? "fatal: " : "") + finding.what +
           "; should be " + finding.expected;
}

}  // namespace KVT

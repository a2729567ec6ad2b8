// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/config/ConfigChecker.h"

namespace KVT {

/** Text of the file in quotes, fit for a terminal: cleaned, and cut when long. */
std::string Quoted(std::string_view text);

/** "on line 12" */
std::string OnLine(const tinyxml2::XMLElement* element);

/** "'a', 'b' or 'c'", in alphabetical order for containers without one. */
std::string OneOfNames(std::vector<std::string> names);

/** "0, 1 or 2" */
std::string OneOfNumbers(std::vector<int32_t> values);

/** "a, b and c" */
std::string Listed(const std::vector<std::string>& parts);

/**
 * Collects findings, with the checks that apply to any element: its attributes, its children, its
 * required name and text, and its integers.
 */
class Findings {
  public:
    explicit Findings(const ConfigDocument& document) : mDocument(document) {}

    /** At an element or a text. */
    void add(const tinyxml2::XMLNode* at, std::string what, std::string expected);
    /** At that attribute of the element. */
    void add(const tinyxml2::XMLElement* at, std::string what, std::string expected,
             const char* attribute);
    void addFatal(const tinyxml2::XMLElement* at, std::string what, std::string expected);
    /** At a byte of the file. */
    void addAt(size_t offset, std::string what, std::string expected);
    /** For a fault of the file as a whole. */
    void addForFile(std::string what, std::string expected);

    /** Reports attributes other than these. */
    void onlyAttributes(const tinyxml2::XMLElement* element,
                        std::initializer_list<std::string_view> names);
    /** Reports child elements of another name (null: any), and text beside them. */
    void onlyChildren(const tinyxml2::XMLElement* element, const char* name);
    /** Reports an element without a child of that name, which has no effect then. */
    void someChild(const tinyxml2::XMLElement* element, const char* name, const std::string& what);

    /** The "name" attribute; without one, a fatal finding. */
    const char* requiredName(const tinyxml2::XMLElement* element);
    /** The text, under the same condition; reports what follows it. */
    const char* requiredText(const tinyxml2::XMLElement* element);

    /** The integer that the library reads; reports one that is missing, or written otherwise. */
    int32_t integer(const tinyxml2::XMLElement* element, const char* attribute);
    /** As integer(), for a switch that ought to be 0 or 1; anything else reads as `otherwise`. */
    int32_t flag(const tinyxml2::XMLElement* element, const char* otherwise);

    std::vector<Finding> sorted();

  private:
    const ConfigDocument& mDocument;
    std::vector<Finding> mFindings;
};

/** Whether the text is an integer of 32 bits, white space around it, and nothing else. */
bool IsDecimal(std::string_view text);
bool IsHexadecimal(std::string_view text);

/** The text without the white space around it. */
std::string_view Trimmed(std::string_view text);

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <tinyxml2.h>

#include <cstdint>

// Text and numbers of the file are read here, and not by tinyxml2, whose versions differ: some take
// an element that begins with a comment for one without text, and "0x10" for 0.

namespace KVT {

/** The element's text, comments before it left out; null when it begins with something else. */
const char* TextOf(const tinyxml2::XMLElement* element);

/**
 * The integer that the attribute begins with, after white space: decimal, or hexadecimal after
 * "0x". Of one beyond 32 bits the lower 32, of one beyond 64 those of the nearest of 64; 0 for none,
 * or no such attribute.
 */
int32_t IntegerAttribute(const tinyxml2::XMLElement* element, const char* name);

/** The floating-point number that the attribute begins with; 0 for none, or no such attribute. */
float FloatAttribute(const tinyxml2::XMLElement* element, const char* name);

/** The element's "name" attribute; without one the file can not be meant, and the process ends. */
const char* RequiredName(const tinyxml2::XMLElement* element);

/** The element's text, under the same condition. */
const char* RequiredText(const tinyxml2::XMLElement* element);

/** The decimal number that the element's text begins with, under the same condition. */
int RequiredNumber(const tinyxml2::XMLElement* element);

/** Calls `visit(child)` for each child element of that name, in document order. */
template <typename Visit>
void ForEachChild(const tinyxml2::XMLElement* parent, const char* name, Visit visit) {
    for (const tinyxml2::XMLElement* child = parent->FirstChildElement(name); child != nullptr;
         child = child->NextSiblingElement(name)) {
        visit(child);
    }
}

}  // namespace KVT

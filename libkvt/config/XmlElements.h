// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <tinyxml2.h>

namespace KVT {

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

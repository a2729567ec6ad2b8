// SPDX-License-Identifier: Apache-2.0
// The reading functions of tinyxml2 as its older versions have them, in place of the library's: a
// program that this is linked into reads a configuration file as it would with such a version.
#include <tinyxml2.h>

#include <cstdio>

namespace tinyxml2 {

const char* XMLElement::GetText() const {
    return FirstChild() != nullptr && FirstChild()->ToText() != nullptr ? FirstChild()->Value()
                                                                        : nullptr;
}

bool XMLUtil::ToInt(const char* text, int* value) {
    return sscanf(text, "%d", value) == 1;
}

}  // namespace tinyxml2

// SPDX-License-Identifier: Apache-2.0
#include "host/TextDumper.h"

#include <algorithm>

namespace KVT {

void TextDumper::section(const char* name) {
    if (!mText.empty()) {
        mText += "\n";
    }
    mText += "[" + std::string(name) + "]\n";
}

void TextDumper::value(const std::string& name, const std::string& value) {
    const size_t begin = mText.size();
    mText += name + "=" + value;
    // A package is whatever a caller says it is; it must not be able to forge lines.
    std::replace_if(
        mText.begin() + static_cast<ptrdiff_t>(begin), mText.end(),
        [](unsigned char c) { return c < ' ' || c == 0x7f; }, '?');
    mText += "\n";
}

}  // namespace KVT

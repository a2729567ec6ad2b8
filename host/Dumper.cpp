// SPDX-License-Identifier: Apache-2.0
#include "host/Dumper.h"

#include <algorithm>
#include <cstdio>

#include "sync/Clock.h"

namespace KVT {

void Dumper::section(const char* name) {
    if (!mText.empty()) {
        mText += "\n";
    }
    mText += "[" + std::string(name) + "]\n";
}

void Dumper::value(const std::string& name, const std::string& value) {
    const size_t begin = mText.size();
    mText += name + "=" + value;
    // A package is whatever a caller says it is; it must not be able to forge lines.
    std::replace_if(
        mText.begin() + static_cast<ptrdiff_t>(begin), mText.end(),
        [](unsigned char c) { return c < ' ' || c == 0x7f; }, '?');
    mText += "\n";
}

void Dumper::value(const std::string& name, int64_t number) {
    value(name, std::to_string(number));
}

void Dumper::seconds(const std::string& name, int64_t ns) {
    value(name, SecondsText(ns));
}

std::string SecondsText(int64_t ns) {
    char text[32];
    snprintf(text, sizeof(text), "%.3f", static_cast<double>(ns) / static_cast<double>(kNsPerS));
    return text;
}

}  // namespace KVT

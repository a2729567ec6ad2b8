// SPDX-License-Identifier: Apache-2.0
#include "host/TextDumper.h"

#include <algorithm>
#include <cstring>

namespace KVT {

namespace {

bool ContinuesCharacter(char c) {
    return (static_cast<unsigned char>(c) & 0xc0) == 0x80;
}

/** Beginning and end tell more than the middle: what was done stands behind whom it was for. */
std::string Shortened(const std::string& part) {
    if (part.size() <= TextDumper::kLongestPart) {
        return part;
    }
    const size_t kept = (TextDumper::kLongestPart - strlen(TextDumper::kLeftOut)) / 2;
    size_t head = kept;
    size_t tail = part.size() - kept;
    // Not within a character of UTF-8, which has four bytes at most.
    for (int i = 0; i < 3 && ContinuesCharacter(part[head]); ++i) {
        --head;
    }
    for (int i = 0; i < 3 && ContinuesCharacter(part[tail]); ++i) {
        ++tail;
    }
    return part.substr(0, head) + TextDumper::kLeftOut + part.substr(tail);
}

}  // namespace

void TextDumper::section(const char* name) {
    addLines((mText.empty() ? "[" : "\n[") + std::string(name) + "]\n");
}

void TextDumper::value(const std::string& name, const std::string& value) {
    std::string line = Shortened(name) + "=" + Shortened(value);
    // A package is whatever a caller says it is; it must not be able to forge lines.
    std::replace_if(
        line.begin(), line.end(), [](unsigned char c) { return c < ' ' || c == 0x7f; }, '?');
    addLines(line + "\n");
}

void TextDumper::addLines(const std::string& lines) {
    if (mCut) {
        return;
    }
    mCut = mText.size() + lines.size() + strlen(kCut) > kMostText;
    mText += mCut ? kCut : lines;
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "host/TextDumper.h"

#include <cstdint>
#include <cstring>

#include "common/CleanText.h"

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
    size_t tail = part.size() - kept;
    while (ContinuesCharacter(part[tail])) {
        ++tail;
    }
    return std::string(Beginning(part, kept)) + TextDumper::kLeftOut + part.substr(tail);
}

/** "cut=12 lines more than 64 kB hold" */
std::string CutLine(size_t lines) {
    return "cut=" + std::to_string(lines) + " lines more than 64 kB hold\n";
}

}  // namespace

void TextDumper::section(const char* name) {
    add((mText.empty() ? "[" : "\n[") + std::string(name) + "]\n");
}

void TextDumper::value(const std::string& name, const std::string& value) {
    // A package is whatever a caller says it is; it must not be able to forge lines and keys.
    add(Shortened(CleanText(name)) + "=" + Shortened(CleanText(value)) + "\n");
    mLinesLeftOut += mFull ? 1 : 0;
}

std::string TextDumper::text() const {
    return mText + (mLinesLeftOut > 0 ? CutLine(mLinesLeftOut) : "");
}

void TextDumper::add(const std::string& lines) {
    static const size_t most = kMostText - CutLine(SIZE_MAX).size();
    mFull = mFull || mText.size() + lines.size() > most;
    if (!mFull) {
        mText += lines;
    }
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "common/CleanText.h"

#include <algorithm>
#include <iterator>

namespace KVT {
namespace {

struct Range {
    char32_t first;
    char32_t last;
};

constexpr Range kUnfit[] = {
    {0x00, 0x1f},      // C0
    {'=', '='},        // ends a key
    {0x7f, 0x9f},      // DEL, C1
    {0x61c, 0x61c},    // Arabic letter mark
    {0x200e, 0x200f},  // left-to-right and right-to-left marks
    {0x2028, 0x202e},  // line and paragraph separators, embeddings and overrides
    {0x2066, 0x2069},  // isolates
    {0xd800, 0xdfff},  // surrogates, which only UTF-16 has, in pairs
    {0xfdd0, 0xfdef},  // no characters
};
constexpr char32_t kLastCodePoint = 0x10ffff;
/** Stands for bytes that encode nothing. */
constexpr char32_t kNone = kLastCodePoint + 1;

struct Character {
    char32_t code;
    size_t bytes;
};

bool IsFit(char32_t code) {
    const bool unfit = std::any_of(std::begin(kUnfit), std::end(kUnfit), [code](const Range& r) {
        return code >= r.first && code <= r.last;
    });
    const bool endsPlane = (code & 0xfffe) == 0xfffe;  // the last two of each are no characters
    return !unfit && !endsPlane && code <= kLastCodePoint;
}

bool ContinuesCharacter(char c) {
    return (static_cast<unsigned char>(c) & 0xc0) == 0x80;
}

/** The character that the text begins with. One cut short is that up to the next beginning. */
Character FirstOf(std::string_view text) {
    constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};  // by length, or it is overlong
    const auto lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80) {
        return {lead, 1};
    }
    if (lead < 0xc0 || lead >= 0xf8) {
        return {kNone, 1};
    }
    const size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    char32_t code = lead & (0x7fu >> length);
    size_t bytes = 1;
    while (bytes < length && bytes < text.size() && ContinuesCharacter(text[bytes])) {
        code = code << 6 | (static_cast<unsigned char>(text[bytes]) & 0x3fu);
        ++bytes;
    }
    return {bytes == length && code >= kLeast[length] ? code : kNone, bytes};
}

}  // namespace

std::string CleanText(std::string_view text, std::string_view kept) {
    std::string clean;
    clean.reserve(text.size());
    while (!text.empty()) {
        const Character first = FirstOf(text);
        const std::string_view bytes = text.substr(0, first.bytes);
        const bool stays = IsFit(first.code) || kept.find(bytes) != std::string_view::npos;
        clean += stays ? bytes : "?";
        text.remove_prefix(first.bytes);
    }
    return clean;
}

std::string_view Beginning(std::string_view text, size_t most) {
    if (text.size() <= most) {
        return text;
    }
    while (most > 0 && ContinuesCharacter(text[most])) {
        --most;
    }
    return text.substr(0, most);
}

}  // namespace KVT

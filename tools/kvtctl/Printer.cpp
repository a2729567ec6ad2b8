// SPDX-License-Identifier: Apache-2.0
#include "tools/kvtctl/Printer.h"

#include <algorithm>
#include <ostream>
#include <string_view>

namespace KVT::ctl {
namespace {

/** Narrower than this, a terminal gets as much as if it were that wide. */
constexpr size_t kLeastColumns = 20;

// Bold and red can be read on dark and on light grounds.
constexpr const char* kBold = "\x1b[1m";
constexpr const char* kBoldRed = "\x1b[1;31m";
constexpr const char* kNormal = "\x1b[0m";

/**
 * The bytes of the character that the text begins with, and its columns at most: from Hangul on,
 * characters can be two columns wide.
 */
size_t Character(std::string_view text, size_t* columns) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const size_t bytes = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : lead >= 0xc0 ? 2 : 1;
    *columns = lead > 0xe1 || (lead == 0xe1 && text.size() > 1 && text[1] >= '\x84') ? 2 : 1;
    return std::min(bytes, text.size());
}

/** The bytes that so many columns take; one character at least. */
size_t Fitting(std::string_view text, size_t columns) {
    size_t bytes = 0;
    size_t afterSpace = 0;
    size_t used = 0;
    while (bytes < text.size()) {
        size_t wide = 0;
        const size_t next = Character(text.substr(bytes), &wide);
        used += wide;
        if (used > columns && text[bytes] != ' ') {
            return afterSpace > 0 ? afterSpace : std::max(bytes, next);
        }
        bytes += next;
        if (text[bytes - 1] == ' ') {
            afterSpace = bytes;
        }
    }
    return bytes;
}

}  // namespace

std::vector<std::string> Wrapped(const std::string& text, size_t columns, size_t indent) {
    if (columns == 0) {
        return {text};
    }
    const size_t most = std::max(columns, kLeastColumns);
    indent = std::min(indent, most / 2);
    std::vector<std::string> lines;
    std::string_view left = text;
    do {
        const size_t margin = lines.empty() ? 0 : indent;
        const size_t begin = lines.empty() ? std::min(left.find_first_not_of(' '), left.size()) : 0;
        // What a line begins with is no place to break it.
        const size_t bytes = begin < most / 2
                                 ? begin + Fitting(left.substr(begin), most - margin - begin)
                                 : Fitting(left, most - margin);
        std::string line = std::string(margin, ' ') + std::string(left.substr(0, bytes));
        line.erase(line.find_last_not_of(' ') + 1);
        lines.push_back(std::move(line));
        left.remove_prefix(bytes);
    } while (!left.empty());
    return lines;
}

void Print(std::ostream& out, const Terminal& terminal, const std::vector<Line>& lines) {
    for (const Line& line : lines) {
        const bool coloured = terminal.colour && line.style != Line::kPlain && !line.text.empty();
        for (const std::string& part : Wrapped(line.text, terminal.columns, line.indent)) {
            if (coloured) {
                out << (line.style == Line::kBad ? kBoldRed : kBold) << part << kNormal << "\n";
            } else {
                out << part << "\n";
            }
        }
    }
}

}  // namespace KVT::ctl

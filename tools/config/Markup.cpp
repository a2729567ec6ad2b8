// SPDX-License-Identifier: Apache-2.0
#include "tools/config/Markup.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>

namespace KVT {

namespace {

using Kind = MarkupPart::Kind;

/** Length of what begins with `start` and goes on to the next `end`. */
size_t LengthTo(std::string_view text, std::string_view start, std::string_view end) {
    const size_t found = text.find(end, start.size());
    return found == std::string_view::npos ? text.size() : found + end.size();
}

MarkupPart FirstPart(std::string_view text, size_t offset) {
    constexpr struct {
        std::string_view start;
        std::string_view end;
        Kind kind;
    } kRows[] = {
        {"<!--", "-->", Kind::kUnread},
        {"<![CDATA[", "]]>", Kind::kCharacterData},
        {"<?", "?>", Kind::kInstruction},
        {"<!", ">", Kind::kDeclaration},
    };
    if (text[0] != '<') {
        return {Kind::kText, offset, text.substr(0, text.find('<'))};
    }
    for (const auto& row : kRows) {
        if (text.substr(0, row.start.size()) == row.start) {
            return {row.kind, offset, text.substr(0, LengthTo(text, row.start, row.end))};
        }
    }
    const size_t name = text.find_first_not_of(kBlank, 1);
    const bool ends = name != std::string_view::npos && text[name] == '/';
    return {ends ? Kind::kEndTag : Kind::kOpenTag, offset, text.substr(0, TagLength(text))};
}

/** Whether a document may hold the character. */
bool IsCharacter(uint32_t code) {
    return code == '\t' || code == '\n' || code == '\r' || (code >= 0x20 && code <= 0xd7ff) ||
           (code >= 0xe000 && code <= 0xfffd) || (code >= 0x10000 && code <= 0x10ffff);
}

/** Whether "&<name>;" stands for a character. */
bool IsReference(std::string_view name) {
    constexpr std::string_view kNames[] = {"amp", "apos", "gt", "lt", "quot"};
    if (name.empty() || name[0] != '#') {
        return std::find(std::begin(kNames), std::end(kNames), name) != std::end(kNames);
    }
    const bool hexadecimal = name.size() > 1 && name[1] == 'x';
    const std::string_view digits = name.substr(hexadecimal ? 2 : 1);
    const char* const end = digits.data() + digits.size();
    uint32_t code = 0;
    const auto [stop, error] = std::from_chars(digits.data(), end, code, hexadecimal ? 16 : 10);
    return error == std::errc() && stop == end && IsCharacter(code);
}

}  // namespace

size_t TagLength(std::string_view text) {
    char quote = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quote != 0) {
            quote = c == quote ? '\0' : quote;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == '>') {
            return i + 1;
        }
    }
    return text.size();
}

std::vector<MarkupPart> MarkupOf(std::string_view document) {
    document = document.substr(0, document.find('\0'));
    std::vector<MarkupPart> parts;
    size_t i = std::min(document.find_first_not_of(kBlank), document.size());
    if (document.substr(i, kByteOrderMark.size()) == kByteOrderMark) {
        i += kByteOrderMark.size();
        parts.push_back({Kind::kUnread, 0, document.substr(0, i)});
    } else {
        i = 0;
    }
    for (; i < document.size(); i += parts.back().text.size()) {
        parts.push_back(FirstPart(document.substr(i), i));
    }
    return parts;
}

std::vector<std::string_view> BrokenReferencesIn(std::string_view text) {
    std::vector<std::string_view> broken;
    for (size_t i = text.find('&'); i != std::string_view::npos; i = text.find('&', i + 1)) {
        const size_t end = text.find_first_of("; \t\r\n&<>\"'", i + 1);
        const bool closed = end != std::string_view::npos && text[end] == ';';
        if (!closed || !IsReference(text.substr(i + 1, end - i - 1))) {
            broken.push_back(text.substr(i, end - i + (closed ? 1 : 0)));
        }
    }
    return broken;
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace KVT {

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
/** What the parser takes for white space. */
constexpr std::string_view kBlank = " \t\n\v\f\r";

/** A part of a document as the library's parser cuts it: up to the next '<', or from one. */
struct MarkupPart {
    enum class Kind {
        kText,
        kCharacterData,  // <![CDATA[...]]>, a text in which nothing is markup
        kOpenTag,        // also of an element without content
        kEndTag,         // </...>
        kDeclaration,    // <!...>, which the parser steps over
        kInstruction,    // <?...?>, with whatever stands in between
        kUnread,         // comments, and the byte-order mark with the blanks before it
    };
    Kind kind;
    /** From the beginning of the document, in bytes. */
    size_t offset;
    std::string_view text;
};

/** The parts of a well-formed document, which ends at its first zero byte. */
std::vector<MarkupPart> MarkupOf(std::string_view document);

/** Length of the open tag that a text begins with; a '>' within quotes ends none. */
size_t TagLength(std::string_view text);

/** References of a text that stand for no character: "&name;" of none, "&#0;", a lone '&'. */
std::vector<std::string_view> BrokenReferencesIn(std::string_view text);

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "tools/config/MarkupChecks.h"

#include "tools/config/Markup.h"

namespace KVT {

namespace {

using Kind = MarkupPart::Kind;

/** Names the document's type and does nothing else. */
bool IsPlainDoctype(std::string_view declaration) {
    constexpr std::string_view kDoctype = "<!DOCTYPE";
    return declaration.substr(0, kDoctype.size()) == kDoctype &&
           declaration.find('[') == std::string_view::npos;
}

/** What stands behind the name of an end tag. */
std::string_view RestOfEndTag(std::string_view tag) {
    const std::string_view name = Trimmed(tag.substr(tag.find('/') + 1));
    const size_t end = name.find_first_of(" \t\r\n>");
    return Trimmed(name.substr(end, name.size() - 1 - end));
}

}  // namespace

void CheckMarkup(const ConfigDocument& document, Findings& findings) {
    bool rootSeen = false;
    for (const MarkupPart& part : document.markup()) {
        rootSeen = rootSeen || part.kind == Kind::kOpenTag;
        if (part.kind == Kind::kText || part.kind == Kind::kOpenTag) {
            for (const std::string_view reference : BrokenReferencesIn(part.text)) {
                findings.addAt(
                    part.offset + static_cast<size_t>(reference.data() - part.text.data()),
                    Quoted(reference) + " stands for no character and reads as something else",
                    "a character, as '&amp;' or '&#38;'");
            }
        } else if (part.kind == Kind::kDeclaration && (rootSeen || !IsPlainDoctype(part.text))) {
            findings.addAt(part.offset, Quoted(part.text) + " is ignored",
                           "an element or a comment");
        } else if (part.kind == Kind::kEndTag) {
            if (const std::string_view rest = RestOfEndTag(part.text); !rest.empty()) {
                findings.addAt(part.offset, Quoted(rest) + " in the end tag is ignored",
                               "the element's name alone");
            }
        }
    }
}

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#include "tools/config/MarkupChecks.h"

#include "tools/config/Markup.h"

namespace KVT {

namespace {

using Kind = MarkupPart::Kind;

/** Names the document's type and does nothing else. */
bool IsPlainDoctype(std::string_view declaration) {
    constexpr std::string_view kDoctype = "<!DOCTYPE";
    if (declaration.substr(0, kDoctype.size()) != kDoctype) {
        return false;
    }
    const std::string_view name = declaration.substr(kDoctype.size());
    return Trimmed(name.substr(0, name.size() - 1)).find_first_of(" \t\n\v\f\r[\"'") ==
           std::string_view::npos;
}

/** A declaration that ends later than it seems to takes elements along. */
void CheckInstruction(const ConfigDocument& document, const MarkupPart& part, Findings& findings) {
    const size_t end = part.text.size() - 2;  // of the "?>"
    if (const size_t inside = part.text.find_first_of("<>", 2); inside < end) {
        findings.addAt(part.offset + inside,
                       "the declaration goes on to the '?>' on line " +
                           std::to_string(document.at(part.offset + end).line) +
                           ", and what stands before that is ignored",
                       "no '<' or '>' in it");
    }
}

/** What stands behind the name of an end tag. */
std::string_view RestOfEndTag(std::string_view tag) {
    const std::string_view name = Trimmed(tag.substr(tag.find('/') + 1));
    const size_t end = name.find_first_of(" \t\n\v\f\r>");
    return Trimmed(name.substr(end, name.size() - 1 - end));
}

}  // namespace

void CheckMarkup(const ConfigDocument& document, Findings& findings) {
    bool rootSeen = false;
    int open = 0;
    for (const MarkupPart& part : document.markup()) {
        if (part.kind == Kind::kOpenTag && part.text.substr(part.text.size() - 2) != "/>") {
            ++open;
        } else if (part.kind == Kind::kEndTag && --open < 0) {
            findings.addAt(part.offset,
                           Quoted(part.text) + " closes no element, and what follows is ignored",
                           "an end tag for each element");
            return;  // whatever follows was not even parsed
        }
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
        } else if (part.kind == Kind::kInstruction) {
            CheckInstruction(document, part, findings);
        } else if (part.kind == Kind::kEndTag) {
            if (const std::string_view rest = RestOfEndTag(part.text); !rest.empty()) {
                findings.addAt(part.offset, Quoted(rest) + " in the end tag is ignored",
                               "the element's name alone");
            }
        }
    }
}

}  // namespace KVT

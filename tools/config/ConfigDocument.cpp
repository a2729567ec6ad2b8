// SPDX-License-Identifier: Apache-2.0
#include "tools/config/ConfigDocument.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string_view>
#include <vector>

namespace KVT {

using tinyxml2::XMLElement;
using tinyxml2::XMLNode;

namespace {

/** Behind the end of what starts at `start` and ends with `end`. */
size_t Behind(std::string_view text, size_t start, std::string_view end) {
    const size_t found = text.find(end, start);
    return found == std::string_view::npos ? text.size() : found + end.size();
}

/** Behind the '>' of the open tag at `start`; one within quotes ends nothing. */
size_t BehindTag(std::string_view text, size_t start) {
    char quote = 0;
    for (size_t i = start; i < text.size(); ++i) {
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

/** Where the open tags of a well-formed document begin, in document order. */
std::vector<size_t> OpenTags(std::string_view text) {
    constexpr std::pair<std::string_view, std::string_view> kSkipped[] = {
        {"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}, {"<!", ">"}, {"</", ">"},
    };
    std::vector<size_t> tags;
    size_t i = 0;
    while ((i = text.find('<', i)) < text.size()) {
        const auto* skipped = std::find_if(
            std::begin(kSkipped), std::end(kSkipped),
            [&](const auto& row) { return text.compare(i, row.first.size(), row.first) == 0; });
        if (skipped != std::end(kSkipped)) {
            i = Behind(text, i + skipped->first.size(), skipped->second);
        } else {
            tags.push_back(i);
            i = BehindTag(text, i);
        }
    }
    return tags;
}

const XMLElement* NextInDocument(const XMLElement* element) {
    if (const XMLElement* child = element->FirstChildElement(); child != nullptr) {
        return child;
    }
    for (const XMLNode* node = element; node != nullptr; node = node->Parent()) {
        if (const XMLElement* next = node->NextSiblingElement(); next != nullptr) {
            return next;
        }
    }
    return nullptr;
}

bool IsSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

}  // namespace

bool ConfigDocument::load(const std::string& path) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) {
        mError = path + ": " + strerror(errno);
        return false;
    }
    if (!S_ISREG(info.st_mode)) {
        mError = path + ": not a plain file";
        return false;
    }
    std::ifstream file(path, std::ios::binary);
    mText.assign(std::istreambuf_iterator<char>(file), {});
    if (!file) {
        mError = path + ": cannot be read";
        return false;
    }
    if (mDocument.Parse(mText.data(), mText.size()) != tinyxml2::XML_SUCCESS) {
        const int line = mDocument.ErrorLineNum();
        mError = path + (line > 0 ? ":" + std::to_string(line) : "") + ": no well-formed XML (" +
                 mDocument.ErrorName() + ")";
        return false;
    }
    locate();
    return true;
}

void ConfigDocument::locate() {
    mLineStarts = {0};
    for (size_t i = mText.find('\n'); i != std::string::npos; i = mText.find('\n', i + 1)) {
        mLineStarts.push_back(i + 1);
    }
    const XMLElement* element = mDocument.RootElement();
    for (const size_t tag : OpenTags(mText)) {
        if (element == nullptr) {
            return;
        }
        mOffsets.emplace(element, tag);
        element = NextInDocument(element);
    }
}

Position ConfigDocument::positionAt(size_t offset) const {
    const auto next = std::upper_bound(mLineStarts.begin(), mLineStarts.end(), offset);
    return {static_cast<int>(next - mLineStarts.begin()),
            static_cast<int>(offset - *std::prev(next)) + 1};
}

Position ConfigDocument::of(const XMLElement* element) const {
    const Position known{element->GetLineNum(), 0};
    const auto found = mOffsets.find(element);
    if (found == mOffsets.end()) {
        return known;
    }
    // The parser has the last word on lines.
    const Position position = positionAt(found->second);
    return position.line == known.line ? position : known;
}

Position ConfigDocument::of(const XMLElement* element, const char* attribute) const {
    const tinyxml2::XMLAttribute* found = element->FindAttribute(attribute);
    const auto tag = mOffsets.find(element);
    if (found == nullptr || tag == mOffsets.end()) {
        return of(element);
    }
    const size_t length = strlen(attribute);
    const size_t end = BehindTag(mText, tag->second);
    char quote = 0;
    for (size_t i = tag->second; i < end; ++i) {
        const char c = mText[i];
        if (quote != 0) {
            quote = c == quote ? '\0' : quote;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (IsSpace(c) && mText.compare(i + 1, length, attribute) == 0 &&
                   (mText[i + 1 + length] == '=' || IsSpace(mText[i + 1 + length]))) {
            return positionAt(i + 1);
        }
    }
    return of(element);
}

}  // namespace KVT

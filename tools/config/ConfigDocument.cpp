// SPDX-License-Identifier: Apache-2.0
#include "tools/config/ConfigDocument.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <string_view>

namespace KVT {

using tinyxml2::XMLElement;
using tinyxml2::XMLNode;

namespace {

const XMLNode* NextNode(const XMLNode* node) {
    if (node->FirstChild() != nullptr) {
        return node->FirstChild();
    }
    while (node != nullptr && node->NextSibling() == nullptr) {
        node = node->Parent();
    }
    return node != nullptr ? node->NextSibling() : nullptr;
}

const XMLNode* NextElementOrText(const XMLNode* node) {
    do {
        node = NextNode(node);
    } while (node != nullptr && node->ToElement() == nullptr && node->ToText() == nullptr);
    return node;
}

/** Where in the part an element or a text begins; npos for a part without one. */
size_t BeginIn(const MarkupPart& part) {
    switch (part.kind) {
        case MarkupPart::Kind::kOpenTag:
        case MarkupPart::Kind::kCharacterData:
            return 0;
        case MarkupPart::Kind::kText:
            return part.text.find_first_not_of(kBlank);
        default:
            return std::string_view::npos;
    }
}

bool IsSpace(char c) {
    return kBlank.find(c) != std::string_view::npos;
}

/** Reads to the end; on failure errno says why. */
bool ReadAll(FILE* file, std::string* text) {
    // Far beyond any configuration, and short of what would take the machine's memory.
    constexpr size_t kMaxBytes = size_t{64} << 20;
    char buffer[size_t{16} << 10];
    while (const size_t bytes = fread(buffer, 1, sizeof(buffer), file)) {
        text->append(buffer, bytes);
        if (text->size() > kMaxBytes) {
            errno = EFBIG;
            return false;
        }
    }
    return ferror(file) == 0;
}

}  // namespace

bool ConfigDocument::load(const std::string& path) {
    mName = path == "-" ? "<stdin>" : path;
    mReadingError = read(path);
    if (mReadingError != 0) {
        mError =
            mName + ": " + (mReadingError == EINVAL ? "not a plain file" : strerror(mReadingError));
        return false;
    }
    if (mDocument.Parse(mText.data(), mText.size()) != tinyxml2::XML_SUCCESS) {
        const int line = mDocument.ErrorLineNum();
        mError = mName + (line > 0 ? ":" + std::to_string(line) : "") + ": no well-formed XML (" +
                 mDocument.ErrorName() + ")";
        return false;
    }
    locate();
    return true;
}

/** @return 0 or an errno */
int ConfigDocument::read(const std::string& path) {
    std::unique_ptr<FILE, int (*)(FILE*)> file(nullptr, fclose);
    if (path != "-") {
        struct stat info {};
        const bool found = stat(path.c_str(), &info) == 0;
        if (found && !S_ISREG(info.st_mode)) {
            return EINVAL;
        }
        if (found) {
            file.reset(fopen(path.c_str(), "rbe"));
        }
        if (file == nullptr) {
            return errno;
        }
    }
    return ReadAll(file != nullptr ? file.get() : stdin, &mText) ? 0 : errno;
}

void ConfigDocument::locate() {
    mLineStarts = {0};
    for (size_t i = mText.find('\n'); i != std::string::npos; i = mText.find('\n', i + 1)) {
        mLineStarts.push_back(i + 1);
    }
    mMarkup = MarkupOf(mText);
    const XMLNode* node = NextElementOrText(&mDocument);
    for (const MarkupPart& part : mMarkup) {
        const size_t begin = BeginIn(part);
        if (node != nullptr && begin != std::string_view::npos) {
            mOffsets.emplace(node, part.offset + begin);
            node = NextElementOrText(node);
        }
    }
}

Position ConfigDocument::at(size_t offset) const {
    const auto next = std::upper_bound(mLineStarts.begin(), mLineStarts.end(), offset);
    const std::string_view before =
        std::string_view(mText).substr(*std::prev(next), offset - *std::prev(next));
    const bool marked = before.substr(0, kByteOrderMark.size()) == kByteOrderMark;
    return {static_cast<int>(next - mLineStarts.begin()),
            static_cast<int>(before.size() - (marked ? kByteOrderMark.size() : 0)) + 1};
}

Position ConfigDocument::of(const XMLNode* node) const {
    const Position known{node->GetLineNum(), 0};
    const auto found = mOffsets.find(node);
    if (found == mOffsets.end()) {
        return known;
    }
    // The parser has the last word on lines; a text's it counts from the white space before it.
    const Position position = at(found->second);
    const bool agrees =
        node->ToText() != nullptr ? position.line >= known.line : position.line == known.line;
    return agrees ? position : known;
}

Position ConfigDocument::of(const XMLElement* element, const char* attribute) const {
    const tinyxml2::XMLAttribute* found = element->FindAttribute(attribute);
    const auto tag = mOffsets.find(element);
    if (found == nullptr || tag == mOffsets.end()) {
        return of(element);
    }
    const size_t length = strlen(attribute);
    const size_t end = tag->second + TagLength(std::string_view(mText).substr(tag->second));
    char quote = 0;
    for (size_t i = tag->second; i < end; ++i) {
        const char c = mText[i];
        if (quote != 0) {
            quote = c == quote ? '\0' : quote;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (IsSpace(c) && mText.compare(i + 1, length, attribute) == 0 &&
                   (mText[i + 1 + length] == '=' || IsSpace(mText[i + 1 + length]))) {
            return at(i + 1);
        }
    }
    return of(element);
}

}  // namespace KVT

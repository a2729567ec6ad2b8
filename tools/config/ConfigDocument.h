// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <tinyxml2.h>

#include <string>
#include <unordered_map>
#include <vector>

#include "tools/config/Markup.h"

namespace KVT {

/** A place in the file; lines and columns count from 1, column 0 is an unknown one. */
struct Position {
    int line = 0;
    int column = 0;
};

/** A configuration file, loaded just as the service loads it, and the places of its elements and texts. */
class ConfigDocument {
  public:
    ConfigDocument() : mDocument(true, tinyxml2::PRESERVE_WHITESPACE) {}

    /**
     * @param path "-" for standard input
     * @return false for a file that is missing, can not be read or is no XML; error() then says why
     */
    bool load(const std::string& path);

    /** The path, or "<stdin>". */
    const std::string& name() const { return mName; }
    /** "<name>: <reason>", with the line where there is one. */
    const std::string& error() const { return mError; }
    /** An errno when the file can not be read at all, EINVAL for a folder or a pipe; or 0. */
    int readingError() const { return mReadingError; }

    const tinyxml2::XMLDocument& xml() const { return mDocument; }

    const std::vector<MarkupPart>& markup() const { return mMarkup; }

    /** Columns count bytes; a byte-order mark has none. */
    Position at(size_t offset) const;
    /** Of an element, or of a text behind the white space before it. */
    Position of(const tinyxml2::XMLNode* node) const;
    /** Of an attribute; of its element when it has none of that name. */
    Position of(const tinyxml2::XMLElement* element, const char* attribute) const;

    /** The library's parser ends there. */
    bool hasZeroByte() const { return mText.find('\0') != std::string::npos; }

  private:
    int read(const std::string& path);
    void locate();

    tinyxml2::XMLDocument mDocument;
    std::string mName;
    std::string mText;
    std::string mError;
    int mReadingError = 0;
    std::vector<MarkupPart> mMarkup;  // of mText
    std::unordered_map<const tinyxml2::XMLNode*, size_t> mOffsets;
    std::vector<size_t> mLineStarts;
};

}  // namespace KVT

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

#include "common/Dumper.h"

namespace KVT {

/**
 * A dump as "[section]" and "name=value" lines, which people read and programs parse. However much
 * others make the service remember, it stays small enough for a pipe nobody reads and for a report.
 */
class TextDumper : public Dumper {
  public:
    /** What a pipe takes at once. Further lines are left out; the last one then says so. */
    static constexpr size_t kMostText = size_t{64} * 1024;
    /**
     * A name of a package may be 255 bytes long, and what stands around it as long as a third of
     * that. Of a longer name or value the middle is left out, for the mark kLeftOut.
     */
    static constexpr size_t kLongestPart = 340;
    static constexpr const char* kLeftOut = "...";
    static constexpr const char* kCut = "cut=no more than 64 kB are dumped\n";

    using Dumper::value;
    void section(const char* name) override;
    void value(const std::string& name, const std::string& value) override;

    const std::string& text() const { return mText; }

  private:
    void addLines(const std::string& lines);

    std::string mText;
    bool mCut = false;
};

}  // namespace KVT

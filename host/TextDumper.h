// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

#include "common/Dumper.h"
#include "host/Limits.h"

namespace KVT {

/**
 * A dump as "[section]" and "name=value" lines, which people read and programs parse: names and
 * values are cleaned, so the first "=" of a line is its only one. However much others make the
 * service remember, it stays small enough for a pipe nobody reads and for a report.
 */
class TextDumper : public Dumper {
  public:
    /** Further lines are left out; the last one then says how many. */
    static constexpr size_t kMostText = kMostDumpBytes;
    /**
     * What stands around the name of a package may be as long as a third of the longest one. Of a
     * longer name or value the middle is left out, for the mark kLeftOut.
     */
    static constexpr size_t kLongestPart = kMostNameBytes * 4 / 3;
    static constexpr const char* kLeftOut = "...";

    using Dumper::value;
    void section(const char* name) override;
    void value(const std::string& name, const std::string& value) override;

    std::string text() const;

  private:
    void add(const std::string& lines);

    std::string mText;
    bool mFull = false;
    size_t mLinesLeftOut = 0;
};

}  // namespace KVT

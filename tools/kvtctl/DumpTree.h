// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace KVT::ctl {

struct DumpSection {
    std::string name;
    /** Name and value, in the dump's order. */
    std::vector<std::pair<std::string, std::string>> lines;
};

/**
 * The service's dump: "[section]" and "name=value" lines. What is neither is passed over; of a name
 * that comes twice in a section the first one counts.
 */
class DumpTree {
  public:
    explicit DumpTree(std::string_view text);

    const std::vector<DumpSection>& sections() const { return mSections; }
    /** @return null when there is no such section: that of another version, say */
    const DumpSection* find(std::string_view section) const;

    /** "" for what is not there. */
    std::string text(std::string_view section, std::string_view name) const;
    /** 0 for what is not there, or is no finite number. */
    int32_t number(std::string_view section, std::string_view name) const;
    double seconds(std::string_view section, std::string_view name) const;

  private:
    std::vector<DumpSection> mSections;
};

/** The words of a text, without the white space between them. */
std::vector<std::string> WordsOf(std::string_view text);

}  // namespace KVT::ctl

// SPDX-License-Identifier: Apache-2.0
#include "tools/kvtctl/DumpTree.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <sstream>

namespace KVT::ctl {

DumpTree::DumpTree(std::string_view text) {
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        const size_t equals = line.find('=');
        if (equals == std::string_view::npos) {
            if (line.size() > 2 && line.front() == '[' && line.back() == ']') {
                mSections.push_back({std::string(line.substr(1, line.size() - 2)), {}});
            }
        } else if (!mSections.empty()) {
            mSections.back().lines.emplace_back(line.substr(0, equals), line.substr(equals + 1));
        }
    }
}

const DumpSection* DumpTree::find(std::string_view section) const {
    const auto found = std::find_if(mSections.begin(), mSections.end(),
                                    [&](const DumpSection& s) { return s.name == section; });
    return found == mSections.end() ? nullptr : &*found;
}

std::string DumpTree::text(std::string_view section, std::string_view name) const {
    if (const DumpSection* const in = find(section); in != nullptr) {
        for (const auto& [key, value] : in->lines) {
            if (key == name) {
                return value;
            }
        }
    }
    return "";
}

int32_t DumpTree::number(std::string_view section, std::string_view name) const {
    const int64_t value = strtoll(text(section, name).c_str(), nullptr, 10);
    return value < INT32_MIN || value > INT32_MAX ? 0 : static_cast<int32_t>(value);
}

double DumpTree::seconds(std::string_view section, std::string_view name) const {
    const double value = strtod(text(section, name).c_str(), nullptr);
    return std::isfinite(value) ? value : 0;  // JSON has no other
}

std::vector<std::string> WordsOf(std::string_view text) {
    std::istringstream words{std::string(text)};
    return {std::istream_iterator<std::string>(words), {}};
}

}  // namespace KVT::ctl

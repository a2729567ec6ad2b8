// SPDX-License-Identifier: Apache-2.0
#include "host/DidYouMean.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace KVT {
namespace {

/** Beyond this nobody meant a name of ours. */
constexpr size_t kLongestWord = 64;

/** Letters to change, add, leave out or swap with the next to make the one of the other. */
size_t Distance(std::string_view a, std::string_view b) {
    using Row = std::array<size_t, kLongestWord + 1>;
    Row beforeLast{};
    Row last{};
    Row row{};
    for (size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (size_t i = 1; i <= a.size(); ++i) {
        beforeLast = last;
        last = row;
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t changed = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            row[j] = std::min({changed, last[j] + 1, row[j - 1] + 1});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
            }
        }
    }
    return row[b.size()];
}

}  // namespace

std::string DidYouMean(std::string_view word, const std::vector<std::string>& names) {
    if (word.empty() || word.size() > kLongestWord) {
        return "";
    }
    const std::string* best = nullptr;
    size_t least = std::max<size_t>(1, word.size() / 3) + 1;
    for (const std::string& name : names) {
        const bool begins = word.size() > 1 && name.compare(0, word.size(), word) == 0;
        const size_t distance = begins                       ? 1
                                : name.size() > kLongestWord ? least
                                                             : Distance(word, name);
        if (distance < least) {
            least = distance;
            best = &name;
        }
    }
    return best == nullptr ? "" : "; did you mean " + *best + "?";
}

}  // namespace KVT

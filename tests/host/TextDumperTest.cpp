// SPDX-License-Identifier: Apache-2.0
#include "host/TextDumper.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace KVT {
namespace {

using testing::ContainsRegex;
using testing::EndsWith;
using testing::MatchesRegex;
using testing::Not;

TEST(TextDumperTest, StaysSmallAndSaysSo) {
    TextDumper few;
    few.value(std::string(100'000, 'n') + "@90", "at 1 " + std::string(100'000, 'p') + " rule\x1b");
    EXPECT_LT(few.text().size(), 2 * TextDumper::kLongestPart + 3);
    EXPECT_THAT(few.text(), MatchesRegex("n+\\.\\.\\.n+@90=at 1 p+\\.\\.\\.p+ rule\\?\n"));
    std::string twoBytesEach;
    for (int i = 0; i < 1000; ++i) {
        twoBytesEach += "\u00e9";
    }
    TextDumper accents;
    accents.value(twoBytesEach, int32_t{1});
    accents.value("a" + twoBytesEach, int32_t{1});
    accents.value(twoBytesEach + "a", int32_t{1});
    EXPECT_THAT(accents.text(), Not(ContainsRegex("\xc3\\.|\\.\xa9")));

    TextDumper many;
    for (int i = 0; i < 10'000; ++i) {
        many.value(std::to_string(i), "twenty bytes of text");
    }
    many.section("more");
    const std::string text = many.text();
    EXPECT_LE(text.size(), TextDumper::kMostText);
    EXPECT_GT(text.size(), TextDumper::kMostText - 100);
    const auto dumped = std::count(text.begin(), text.end(), '\n') - 1;
    EXPECT_THAT(text, EndsWith("=twenty bytes of text\ncut=" + std::to_string(10'000 - dumped) +
                               " lines more than 64 kB hold\n"));
}

}  // namespace
}  // namespace KVT

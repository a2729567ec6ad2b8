// SPDX-License-Identifier: Apache-2.0
#include "config/PrefixSet.h"

#include <gtest/gtest.h>

#include <random>

namespace KVT {
namespace {

TEST(PrefixSet, FindsTheShortestMemberThatBeginsAName) {
    PrefixSet set;
    EXPECT_EQ(set.findPrefixOf("com.example"), nullptr);
    for (const char* prefix : {"com.example.", "com.example.game", "org.a", "org.a"}) {
        set.insert(prefix);
    }
    EXPECT_EQ(set.size(), 3u);
    EXPECT_EQ(*set.findPrefixOf("com.example.game"), "com.example.");
    EXPECT_EQ(set.findPrefixOf("com.example"), nullptr);
    EXPECT_EQ(set.findPrefixOf(""), nullptr);
    set.insert("");
    EXPECT_EQ(*set.findPrefixOf(""), "");
    EXPECT_EQ(*set.findPrefixOf("org.a"), "");
}

TEST(PrefixSet, AgreesWithALinearSearch) {
    std::mt19937_64 random(1);
    const auto name = [&random](size_t longest) {
        std::string text;
        for (size_t length = random() % (longest + 1); length > 0; --length) {
            text += static_cast<char>('a' + random() % 3);
        }
        return text;
    };
    for (int round = 0; round < 200; ++round) {
        PrefixSet set;
        for (size_t entries = random() % 40; entries > 0; --entries) {
            set.insert("a" + name(5));
        }
        for (int i = 0; i < 50; ++i) {
            const std::string query = name(7);
            const std::string* shortest = nullptr;
            for (const std::string& prefix : set) {
                if (query.rfind(prefix, 0) == 0 &&
                    (shortest == nullptr || prefix.size() < shortest->size())) {
                    shortest = &prefix;
                }
            }
            EXPECT_EQ(set.findPrefixOf(query), shortest) << query;
        }
    }
}

}  // namespace
}  // namespace KVT

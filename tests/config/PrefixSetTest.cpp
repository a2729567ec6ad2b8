// SPDX-License-Identifier: Apache-2.0
#include "config/PrefixSet.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

namespace KVT {
namespace {

TEST(PrefixSet, FindsTheShortestMemberThatBeginsAName) {
    std::mt19937_64 random(1);
    const auto name = [&random](size_t longest) {
        std::string text;
        for (size_t length = random() % (longest + 1); length > 0; --length) {
            text += ".a\xff"[random() % 3];
        }
        return text;
    };
    for (int round = 0; round < 500; ++round) {
        PrefixSet set;
        std::set<std::string> members;
        for (size_t entries = random() % 20; entries > 0; --entries) {
            const std::string member = name(5);
            if (!member.empty() || round % 5 == 0) {
                set.insert(member);
                members.insert(member);
            }
        }
        ASSERT_EQ(set.size(), members.size());
        for (int i = 0; i < 50; ++i) {
            const std::string query = name(7);
            const std::string* shortest = nullptr;
            for (const std::string& prefix : members) {
                if (query.rfind(prefix, 0) == 0 &&
                    (shortest == nullptr || prefix.size() < shortest->size())) {
                    shortest = &prefix;
                }
            }
            const std::string* const found = set.findPrefixOf(query);
            ASSERT_EQ(found == nullptr, shortest == nullptr) << query;
            EXPECT_TRUE(found == nullptr || *found == *shortest) << query;
        }
    }
}

}  // namespace
}  // namespace KVT

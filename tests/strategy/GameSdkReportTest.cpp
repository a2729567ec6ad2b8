// SPDX-License-Identifier: Apache-2.0
#include "strategy/GameSdkReport.h"

#include <gtest/gtest.h>

#include <string>

namespace KVT {
namespace {

using Int = std::optional<int32_t>;

std::string Nested(size_t depth) {
    return R"({"pkg":"p","1":101,"x":)" + std::string(depth, '[') + std::string(depth, ']') + "}";
}

TEST(GameSdkReport, ReadsIntegersAndNothingElse) {
    const auto fps = [](const std::string& value) {
        const auto report = GameSdkReport::Parse("{\"pkg\":\"p\",\"10\":" + value + "}");
        return report ? report->fps : Int();
    };
    for (const int32_t value : {90, -1, 0, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(fps(std::to_string(value)), Int(value));
    }
    EXPECT_EQ(fps("90.0"), Int(90));
    for (const char* value :
         {"2147483648", "1e400", "90.5", "\"90\"", "true", "null", "[90]", "{\"1\":90}"}) {
        EXPECT_EQ(fps(value), Int()) << value;
    }
}

TEST(GameSdkReport, AcceptsWhatIsOne) {
    const auto report = GameSdkReport::Parse(
        "// from the SDK\n {\"1\":101,\"pkg\":\"com.tencent.tmgp.pubgmhd\",\"4\":[],\"10\":90}");
    ASSERT_TRUE(report);
    EXPECT_EQ(report->pkg, "com.tencent.tmgp.pubgmhd");
    EXPECT_EQ(report->scene, Int(101));
    EXPECT_EQ(report->fps, Int(90));
    EXPECT_TRUE(GameSdkReport::Parse(Nested(8)));
}

TEST(GameSdkReport, RefusesTheRestQuietly) {
    for (const char* json : {"", "[]", "{}", R"({"pkg":1})", R"({"pkg":"p")", R"({"pkg":"p",})",
                             R"({'pkg':'p'})", R"({"pkg":"\ud800"})"}) {
        EXPECT_FALSE(GameSdkReport::Parse(json)) << json;
    }
    EXPECT_FALSE(GameSdkReport::Parse(Nested(100)));
    EXPECT_FALSE(GameSdkReport::Parse(R"({"pkg":")" + std::string(1 << 20, 'p') + R"("})"));
}

}  // namespace
}  // namespace KVT

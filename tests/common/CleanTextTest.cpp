// SPDX-License-Identifier: Apache-2.0
#include "common/CleanText.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <iterator>
#include <random>

#include "tests/support/HostileName.h"

namespace KVT {
namespace {

TEST(CleanText, ReplacesWhatForgesOrDrivesAndNothingElse) {
    using namespace std::string_literals;
    const struct {
        std::string text;
        std::string shown;
    } cases[] = {
        {kHostileName, kHostileNameShown},
        {"SurfaceView - com.a/b.C#0 ~'\"[x]", "SurfaceView - com.a/b.C#0 ~'\"[x]"},
        {"\u00a0\u00e9\u20ac\u4e2d\U0001f3ae", "\u00a0\u00e9\u20ac\u4e2d\U0001f3ae"},
        {"\0a\x1f\x7f\t="s, "?a????"},
        {"\u0080\u0085\u009f|\u200d\u200e\u200f\u2010", "???|\u200d??\u2010"},
        {"\u2027\u2028\u2029\u202a\u202e\u202f|\u2065\u2066\u2069\u206a",
         "\u2027????\u202f|\u2065??\u206a"},
        {"\ud7ff\xed\xa0\x80\xed\xbf\xbf\ue000", "\ud7ff??\ue000"},
        {"\ufdcf\ufdd0\ufdef\ufdf0\ufffd\xef\xbf\xbe\U0001ffff", "\ufdcf??\ufdf0\ufffd??"},
        {"\xf4\x8f\xbf\xbd|\xf4\x90\x80\x80\xf7\xbf\xbf\xbf", "\xf4\x8f\xbf\xbd|??"},
        {"\xc0\xbd\xc1\x9b\xe0\x82\x9b\xf0\x80\x80\xbd", "????"},              // overlong
        {"\x80\xbf\xc3|\xe2\x82|\xf0\x9f\x8e\xff\xf8\xe2\x82", "???|?|????"},  // cut, or no lead
    };
    for (const auto& c : cases) {
        EXPECT_EQ(CleanText(c.text), c.shown);
    }
    EXPECT_EQ(CleanText("[a]\nb=c\x9b=\r\n", "=\n"), "[a]\nb=c?=?\n");
}

/** As the C library reads it, which refuses what is no UTF-8. */
std::wstring Decoded(const std::string& text) {
    wchar_t characters[64];
    const size_t count = mbstowcs(characters, text.c_str(), std::size(characters));
    EXPECT_LT(count, std::size(characters)) << "no UTF-8";
    return count < std::size(characters) ? std::wstring(characters, count) : L"";
}

TEST(CleanText, OfWhateverBytesIsCleanUtf8OnceAndForAll) {
    ASSERT_NE(setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    std::mt19937 random(1);
    const std::string_view pieces[] = {"\xe2\x80", "\xc2", "\xed", "\xf0\x9f", "\xe2\x81", "\xd8"};
    for (int round = 0; round < 100'000; ++round) {
        std::string text;
        for (auto left = random() % 12; left > 0; --left) {
            text += random() % 2 == 0 ? std::string(pieces[random() % std::size(pieces)])
                                      : std::string(1, static_cast<char>(random()));
        }
        const std::string clean = CleanText(text);
        EXPECT_EQ(CleanText(clean), clean);
        EXPECT_EQ(Decoded(clean).find_first_of(L"=\n\x1b\x7f\u009b\u061c\u200f\u2028\u202e\u2066"),
                  std::wstring::npos);
        EXPECT_EQ(CleanText(Beginning(clean, 4)), Beginning(clean, 4));
        ASSERT_FALSE(HasFailure()) << testing::PrintToString(text);
    }
}

}  // namespace
}  // namespace KVT

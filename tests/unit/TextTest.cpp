#include "Utility/Text.h"

#include <gtest/gtest.h>

#include "Utility/Hex.h"

namespace qsn::test {
namespace {

TEST(Text, ConvertsBothWays) {
    const struct {
        const wchar_t* wide;
        const char* utf8;
    } cases[] = {{L"", ""},
                 {L"plain", "plain"},
                 {L"\u00E4\u20AC\u65E5", "\xC3\xA4\xE2\x82\xAC\xE6\x97\xA5"},
                 {L"\U0001F511", "\xF0\x9F\x94\x91"}};
    for (const auto& c : cases) {
        EXPECT_EQ(c.utf8, WideToUtf8(c.wide));
        EXPECT_EQ(c.wide, Utf8ToWide(c.utf8));
    }
    EXPECT_EQ(std::wstring(L"a\0b", 3), Utf8ToWide(std::string_view("a\0b", 3)));
}

TEST(Text, ReplacesWhatCannotBeConverted) {
    EXPECT_EQ(L"a\uFFFDb", Utf8ToWide("a\xFF"
                                      "b"));
    EXPECT_EQ("a\xEF\xBF\xBD", WideToUtf8(L"a\xD800"));
}

TEST(Hex, EncodesLowerCaseAndDecodesEither) {
    const std::uint8_t bytes[] = {0x00, 0x7F, 0xA0, 0xFF};
    EXPECT_EQ("007fa0ff", BytesToHex(bytes));
    std::string decoded;
    ASSERT_TRUE(HexToBytes("007Fa0fF", &decoded));
    EXPECT_EQ(std::string("\x00\x7F\xA0\xFF", 4), decoded);
}

TEST(Hex, RefusesWhatIsNoHex) {
    for (const char* const text : {"0", "0g", "/0", ":0", "@0", "G0", "`0", "0x12", " 1"}) {
        std::string decoded = "untouched";
        EXPECT_FALSE(HexToBytes(text, &decoded)) << text;
        EXPECT_EQ("untouched", decoded);
    }
}

}  // namespace
}  // namespace qsn::test

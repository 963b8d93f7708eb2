#include <gtest/gtest.h>

#include "Utility/Base64.h"
#include "Utility/Jwt.h"
#include "Utility/Text.h"

namespace qsn::test {
namespace {

std::vector<std::uint8_t> Bytes(std::string_view text) { return {text.begin(), text.end()}; }

std::string DecodeLines(std::string_view text) {
    std::uint8_t bytes[256];
    std::uint32_t length = sizeof(bytes);
    EXPECT_EQ(1, Base64DecodeLines(text, bytes, &length));
    return {bytes, bytes + length};
}

TEST(Base64, WritesLinesOrASingleLineAndReadsThemBack) {
    const std::string line(76, 'A');
    for (const auto& [plain, lines] : {std::pair(std::string("fo"), std::string("Zm8=")),
                                       {"\xFB\xFF\xBF\x66", "+/+/Zg=="},
                                       {std::string(57, '\0'), line},
                                       {std::string(115, '\0'), line + "\r\n" + line + "\r\nAA=="}}) {
        std::string text(lines.size(), '#'), singleLine = lines;
        auto length = static_cast<std::uint32_t>(lines.size() - 1);
        EXPECT_EQ(0, Base64EncodeLines(Bytes(plain), text.data(), &length)) << "one byte less than is needed";
        EXPECT_EQ('#', text[0]);
        ++length;
        EXPECT_EQ(1, Base64EncodeLines(Bytes(plain), text.data(), &length));
        EXPECT_EQ(lines, text);
        EXPECT_EQ(plain, DecodeLines(text));
        std::erase_if(singleLine, [](char c) { return c < ' '; });
        EXPECT_EQ(singleLine, Base64Encode(Bytes(plain)).value);
        EXPECT_EQ(Bytes(plain), Base64Decode(singleLine).value);
    }
}

TEST(Base64, ReadsWhatItCanOfLinesAndReportsTheLengthThatDoesNotFit) {
    EXPECT_EQ("foobar", DecodeLines("Z=m9-v\r\nYm Fy\xFF"));
    EXPECT_EQ("foo", DecodeLines({"Zm9vY\0YmFy", 10})) << "six bits are no byte";
    std::uint8_t bytes[] = "#####!";
    std::uint32_t length = 5;
    EXPECT_EQ(0, Base64DecodeLines("Zm9vYmFy", bytes, &length));
    EXPECT_EQ(6u, length);
    EXPECT_EQ('!', bytes[5]);
}

TEST(Text, ReplacesWhatCannotBeConverted) {
    EXPECT_EQ(L"\u00E4\uFFFDx", Utf8ToWide("\xC3\xA4\xFFx"));
    EXPECT_EQ("\xF0\x9F\x94\x91\xEF\xBF\xBD", WideToUtf8(L"\U0001F511\xD800"));
}

TEST(Jwt, DecodesWhatStandsBetweenTheFirstTwoDots) {
    std::string longText;
    for (int i = 0; i < 200; ++i) longText += "cHBw";
    const std::pair<std::string, std::string> rows[] = {
        // RFC 7519, section 3.1.
        {"eyJpc3MiOiJqb2UiLA0KICJleHAiOjEzMDA4MTkzODAsDQogImh0dHA6Ly9leGFtcGxlLmNvbS9pc19yb290Ijp0cnVlfQ",
         "{\"iss\":\"joe\",\r\n \"exp\":1300819380,\r\n \"http://example.com/is_root\":true}"},
        {"", ""},
        {"+/+/", "\xFB\xFF\xBF"},
        {"-_-_", ""},  // the URL-safe digits are not known
        {longText, std::string(600, 'p')},
    };
    for (const auto& [part, expected] : rows) {
        const Outcome<std::string> payload = DecodeJWT("x." + part + ".y.z");
        EXPECT_EQ(S_OK, payload.result);
        EXPECT_EQ(expected, payload.value);
        EXPECT_EQ(E_FAIL, DecodeJWT("x." + part).result);
    }
}

}  // namespace
}  // namespace qsn::test

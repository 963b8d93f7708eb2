#include <gtest/gtest.h>

#include "Utility/Base64.h"
#include "Utility/Hex.h"
#include "Utility/Json.h"
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
    const struct {
        std::string plain, lines, singleLine;
    } rows[] = {{"fo", "Zm8=", "Zm8="},
                {"foob", "Zm9vYg==", "Zm9vYg=="},
                {"\xFB\xFF\xBF", "+/+/", "+/+/"},
                {std::string(57, '\0'), line, line},
                {std::string(115, '\0'), line + "\r\n" + line + "\r\nAA==", line + line + "AA=="}};
    for (const auto& row : rows) {
        std::string text(row.lines.size(), '#');
        auto length = static_cast<std::uint32_t>(text.size() - 1);
        EXPECT_EQ(0, Base64EncodeLines(Bytes(row.plain), text.data(), &length)) << "one byte less than is needed";
        EXPECT_EQ('#', text[0]);
        ++length;
        EXPECT_EQ(1, Base64EncodeLines(Bytes(row.plain), text.data(), &length));
        EXPECT_EQ(row.lines, text);
        EXPECT_EQ(row.plain, DecodeLines(text));
        std::vector<std::uint8_t> decoded;
        EXPECT_EQ(S_OK, Base64Encode(Bytes(row.plain), &text));
        EXPECT_EQ(row.singleLine, text);
        EXPECT_EQ(S_OK, Base64Decode(text, &decoded));
        EXPECT_EQ(Bytes(row.plain), decoded);
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

TEST(Hex, EncodesLowerCaseAndDecodesEither) {
    std::string decoded;
    ASSERT_TRUE(HexToBytes("007Fa0fF", &decoded));
    EXPECT_EQ("007fa0ff", BytesToHex(Bytes(decoded)));
    for (const char* const text : {"0", "0g", "/0", ":0", "@0", "G0", "`0"}) {
        EXPECT_FALSE(HexToBytes(text, &decoded)) << text;
        EXPECT_EQ(4u, decoded.size()) << "untouched";
    }
}

TEST(Text, ConvertsBothWaysAndReplacesWhatCannotBeConverted) {
    const std::wstring wide(L"\u00E4\u20AC\0\U0001F511", 5);
    EXPECT_EQ(wide, Utf8ToWide(WideToUtf8(wide)));
    EXPECT_EQ("\xC3\xA4", WideToUtf8(L"\u00E4"));
    EXPECT_EQ(L"\uFFFDx", Utf8ToWide("\xFFx"));
    EXPECT_EQ("a\xEF\xBF\xBD", WideToUtf8(L"a\xD800"));
}

TEST(Json, WritesCompactTextInMemberOrder) {
    Json::Value root;
    root["b"]["list"].append(Json::nullValue);
    root["B"] = "\xC3\xA4\"/";
    std::string text;
    ASSERT_TRUE(WriteJson(root, &text));
    EXPECT_EQ("{\"B\":\"\\u00e4\\\"/\",\"b\":{\"list\":[null]}}\n", text);
}

TEST(Jwt, DecodesWhatStandsBetweenTheFirstTwoDots) {
    std::string encoded = "x.";
    for (int i = 0; i < 200; ++i) encoded += "cHBw";
    const std::pair<std::string, std::string> rows[] = {
        // RFC 7519, section 3.1.
        {"eyJ0eXAiOiJKV1QiLA0KICJhbGciOiJIUzI1NiJ9."
         "eyJpc3MiOiJqb2UiLA0KICJleHAiOjEzMDA4MTkzODAsDQogImh0dHA6Ly9leGFtcGxlLmNvbS9pc19yb290Ijp0cnVlfQ."
         "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk",
         "{\"iss\":\"joe\",\r\n \"exp\":1300819380,\r\n \"http://example.com/is_root\":true}"},
        {".Zm9vYmE.y.z", "fooba"},
        {"x..y", ""},
        {"x.+/+/.y", "\xFB\xFF\xBF"},
        {"x.-_-_.y", ""},  // the URL-safe digits are not known
        {encoded + ".y", std::string(600, 'p')},
    };
    for (const auto& [token, expected] : rows) {
        std::string payload = "old";
        EXPECT_EQ(S_OK, DecodeJWT(token, &payload)) << token;
        EXPECT_EQ(expected, payload) << token;
        EXPECT_EQ(E_FAIL, DecodeJWT(token.substr(0, token.find('.', token.find('.') + 1)), &payload)) << "one dot";
    }
}

}  // namespace
}  // namespace qsn::test

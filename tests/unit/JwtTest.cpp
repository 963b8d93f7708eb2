#include "Utility/Jwt.h"

#include <gtest/gtest.h>

#include "Utility/Base64.h"

namespace qsn::test {
namespace {

TEST(Jwt, DecodesTheSecondPart) {
    const struct {
        const char* token;
        const char* payload;
    } cases[] = {
        // RFC 7519, section 3.1.
        {"eyJ0eXAiOiJKV1QiLA0KICJhbGciOiJIUzI1NiJ9."
         "eyJpc3MiOiJqb2UiLA0KICJleHAiOjEzMDA4MTkzODAsDQogImh0dHA6Ly9leGFtcGxlLmNvbS9pc19yb290Ijp0cnVlfQ."
         "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk",
         "{\"iss\":\"joe\",\r\n \"exp\":1300819380,\r\n \"http://example.com/is_root\":true}"},
        {"x.eyJhIjoxfQ.y", R"({"a":1})"},
        {".eyJhIjoxfQ.", R"({"a":1})"},
        {"x.Zm9vYmE.y.z", "fooba"},
        {"x..y", ""},
    };
    for (const auto& c : cases) {
        std::string payload = "old";
        EXPECT_EQ(S_OK, DecodeJWT(c.token, &payload)) << c.token;
        EXPECT_EQ(c.payload, payload) << c.token;
    }
}

TEST(Jwt, RefusesFewerThanTwoDots) {
    for (const char* const token : {"", "x", "x.eyJhIjoxfQ", "."}) {
        std::string payload;
        EXPECT_EQ(E_FAIL, DecodeJWT(token, &payload)) << token;
    }
}

TEST(Jwt, DecodesPayloadsBeyondOneChunk) {
    for (const std::size_t size : {512, 513, 1024, 5000}) {
        const std::string plain(size, 'p');
        std::string encoded;
        ASSERT_EQ(S_OK, Base64Encode(std::vector<std::uint8_t>(plain.begin(), plain.end()), &encoded));
        EXPECT_EQ(plain, DecodeJWTPayload(std::string_view(encoded).substr(0, encoded.find('=')))) << size;
    }
}

TEST(Jwt, DoesNotKnowTheUrlSafeAlphabet) {
    EXPECT_EQ("\xFB\xEF\xBE", DecodeJWTPayload("++++"));
    EXPECT_EQ("\xFF\xFF\xFF", DecodeJWTPayload("////"));
    EXPECT_EQ("", DecodeJWTPayload("----"));
    EXPECT_EQ("", DecodeJWTPayload("____"));
}

}  // namespace
}  // namespace qsn::test

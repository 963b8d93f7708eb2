#include "engine/MemberAuthMessages.h"

#include <gtest/gtest.h>

#include "engine/ResultCodes.h"

namespace {

using qsn::RequestType;

TEST(MemberAuthMessages, AreWrittenByteForByte) {
    std::string text;
    EXPECT_EQ(qsn::WriteMemberInitBody("SID-1", &text), S_OK);
    EXPECT_EQ(text, "{\"sid\":\"SID-1\",\"version\":1}\n");
    EXPECT_EQ(qsn::WriteMemberRefreshSecret("r\"t", 4711, &text), S_OK);
    EXPECT_EQ(text, "{\"memberId\":4711,\"refreshToken\":\"r\\\"t\"}\n");
    EXPECT_EQ(qsn::WriteMemberRefreshBody("KEY=", "DATA=", 3, &text), S_OK);
    EXPECT_EQ(text, "{\"a\":\"KEY=\",\"data\":\"DATA=\",\"k\":3}\n");
}

TEST(MemberAuthMessages, RepliesAreReadOrRefused) {
    constexpr auto kInit = RequestType::kInitMemberAuth;
    constexpr auto kRefresh = RequestType::kRefreshMemberToken;
    struct {
        RequestType api;
        const char* reply;
        HRESULT expected;
        std::uint32_t id;
        const char* text;
    } const cases[] = {
        {kInit, R"({"status":"SUCCESS","info":{"public_key":"MIIB","id":7}})", S_OK, 7, "MIIB"},
        {kRefresh, R"({"status":"SUCCESS","info":"abc="})", S_OK, 99, "abc="},
        {kInit, R"({"status":"SUCCESS"})", S_OK, 0, ""},
        {kInit, R"({"status":"SUCCESS","info":"text"})", S_OK, 0, ""},
        {kRefresh, R"({"status":"SUCCESS","info":{}})", S_OK, 99, ""},
        {kInit, R"({"status":"success","info":{"public_key":"MIIB","id":7}})", S_OK, 99, "old"},
        {kRefresh, R"({"status":"FAILED","info":"abc="})", S_OK, 99, "old"},
        {kRefresh, R"({"status":{},"info":"abc="})", S_OK, 99, "old"},
        {kRefresh, R"({"info":"abc="})", qsn::kReplyWithoutResult, 99, "old"},
        {kRefresh, "[]", qsn::kReplyWithoutResult, 99, "old"},
        {kRefresh, "<html>", E_INVALIDARG, 99, "old"},
        {RequestType::kGetUserInfo, R"({"status":"SUCCESS"})", E_NOTIMPL, 99, "old"},
    };
    for (const auto& each : cases) {
        std::uint32_t id = 99;
        std::string text = "old";
        EXPECT_EQ(qsn::ParseMemberAuthResponse(each.api, each.reply, &id, &text), each.expected) << each.reply;
        EXPECT_EQ(id, each.id) << each.reply;
        EXPECT_EQ(text, each.text) << each.reply;
    }
}

TEST(MemberAuthMessages, ClaimsOfAnyTypeAreRead) {
    struct {
        const char* payload;
        HRESULT expected;
        std::int64_t expiry;
        std::int32_t memberId;
    } const cases[] = {
        {R"({"iat":1,"exp":4102444800,"memberId":5})", S_OK, 4102444800, 5},
        {R"({"exp":9223372036854775807})", S_OK, 9223372036854775807, 0},
        {R"({"exp":"4102444800","memberId":"5"})", S_OK, 0, 0},
        {R"({"exp":1e300,"memberId":5000000000})", S_OK, 0, 0},
        {"{}", S_OK, 0, 0},
        {"[1]", E_INVALIDARG, -1, -1},
        {"7", E_INVALIDARG, -1, -1},
        {"", E_INVALIDARG, -1, -1},
    };
    for (const auto& each : cases) {
        qsn::MemberTokenClaims claims{-1, -1};
        EXPECT_EQ(qsn::ReadMemberTokenClaims(each.payload, &claims), each.expected) << each.payload;
        EXPECT_EQ(claims.expiry, each.expiry) << each.payload;
        EXPECT_EQ(claims.memberId, each.memberId) << each.payload;
    }
}

}  // namespace

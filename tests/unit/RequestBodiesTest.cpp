#include "engine/RequestBodies.h"

#include <gtest/gtest.h>

#include "engine/Endpoints.h"
#include "engine/HttpsClient.h"

namespace {

using qsn::RequestType;
using qsn::RequestValues;

RequestValues SampleValues() {
    RequestValues values;
    values.accessToken = "tok";
    values.language = "de-DE";
    values.productSID = "SID-1";
    values.machineName = "BOX";
    values.machineID = "0123ABCD";
    values.memberToken = "m.e.m";
    values.refreshToken = "ref";
    return values;
}

std::string Body(RequestType type, const RequestValues& values) {
    std::string body;
    EXPECT_EQ(qsn::WriteRequestBody(type, values, &body), S_OK);
    return body;
}

struct BodyCase {
    RequestType type;
    const char* body;
};

class RequestBody : public testing::TestWithParam<BodyCase> {};

TEST_P(RequestBody, IsWrittenByteForByte) { EXPECT_EQ(Body(GetParam().type, SampleValues()), GetParam().body); }

INSTANTIATE_TEST_SUITE_P(
    OfEachType, RequestBody,
    testing::Values(
        BodyCase{RequestType::kSignOut,
                 R"({"accessToken":"tok","data":{"machineID":"0123ABCD","machineName":"BOX","memberToken":"m.e.m",)"
                 R"("refreshToken":"ref","sid":"SID-1"},"requestType":"signOut","version":1})"
                 "\n"},
        BodyCase{RequestType::kGetUserInfo,
                 R"({"accessToken":"tok","data":null,"requestType":"getUserInfo","version":1})"
                 "\n"},
        BodyCase{RequestType::kGetProductList,
                 R"({"accessToken":"tok","data":{"lang":"de-DE"},"requestType":"getProductList","version":1})"
                 "\n"},
        BodyCase{RequestType::kVerifyToken,
                 R"({"accessToken":"tok","data":{"machineID":"0123ABCD","machineName":"BOX","sid":"SID-1"},)"
                 R"("requestType":"verifyToken","version":1})"
                 "\n"},
        BodyCase{RequestType::kQueryGIQuota,
                 R"({"accessToken":"tok","data":{"sid":"SID-1"},"requestType":"gicount_query","version":1})"
                 "\n"},
        BodyCase{RequestType::kLogGIQuota,
                 R"({"accessToken":"tok","data":{"sid":"SID-1"},"requestType":"gicount_log","version":1})"
                 "\n"},
        BodyCase{RequestType::kGetProductListV2, R"({"data":{"lang":"de-DE"},"memberToken":"m.e.m","version":1})"
                                                 "\n"}));

TEST(RequestBodies, ExtendDataComesFirstButNotInTheSecondGeneration) {
    RequestValues values = SampleValues();
    values.extendData = "x";
    EXPECT_EQ(Body(RequestType::kGetUserInfo, values).find(R"({"ExtendData":"x",)"), 0u);
    EXPECT_EQ(Body(RequestType::kGetProductListV2, values).find("ExtendData"), std::string::npos);
}

TEST(RequestBodies, OtherThanAsciiIsEscaped) {
    RequestValues values;
    values.machineName = "B\xc3\xbcro \xe6\x9c\xba \xf0\x9f\x8c\xbf";
    values.machineID = "\"\\/";
    EXPECT_EQ(
        Body(RequestType::kVerifyToken, values),
        R"({"accessToken":"","data":{"machineID":"\"\\/","machineName":"B\u00fcro \u673a \ud83c\udf3f","sid":""},)"
        R"("requestType":"verifyToken","version":1})"
        "\n");
}

TEST(RequestBodies, EmptyTextsAreSent) {
    EXPECT_EQ(
        Body(RequestType::kSignOut, {}),
        R"({"accessToken":"","data":{"machineID":"","machineName":"","memberToken":"","refreshToken":"","sid":""},)"
        R"("requestType":"signOut","version":1})"
        "\n");
}

TEST(RequestBodies, ThePlatformIsNamedForTheTwoKnownNumbersOnly) {
    struct {
        std::uint32_t platform;
        const char* member;
    } const cases[] = {{0, ""}, {1, R"(,"platform":"x64")"}, {2, R"(,"platform":"x86")"}, {3, ""}};
    for (const auto& each : cases) {
        RequestValues values = SampleValues();
        values.platform = each.platform;
        for (RequestType type : {RequestType::kGetProductList, RequestType::kGetProductListV2}) {
            EXPECT_NE(Body(type, values).find(std::string(R"("data":{"lang":"de-DE")") + each.member + "}"),
                      std::string::npos)
                << each.platform;
        }
    }
}

TEST(RequestBodies, MemberAuthTypesHaveNoneHere) {
    std::string body = "untouched";
    EXPECT_EQ(qsn::WriteRequestBody(RequestType::kInitMemberAuth, {}, &body), E_NOTIMPL);
    EXPECT_EQ(qsn::WriteRequestBody(RequestType::kRefreshMemberToken, {}, &body), E_NOTIMPL);
    EXPECT_EQ(body, "untouched");
}

TEST(Endpoints, EachTypeHasItsAddressOnBothHosts) {
    struct {
        RequestType type;
        const char* memberId;
        const char* production;
        const char* staging;
    } const cases[] = {
        {RequestType::kSignOut, "", "account.quillfern.example/qsn/service/request",
         "account-staging.quillfern.example/qsn/service/request"},
        {RequestType::kGetUserInfo, "", "account.quillfern.example/qsn/service/request",
         "account-staging.quillfern.example/qsn/service/request"},
        {RequestType::kGetProductList, "", "account.quillfern.example/qsn/service/request",
         "account-staging.quillfern.example/qsn/service/request"},
        {RequestType::kVerifyToken, "", "account.quillfern.example/qsn/service/request",
         "account-staging.quillfern.example/qsn/service/request"},
        {RequestType::kQueryGIQuota, "", "account.quillfern.example/qsn/service/gi_count/query",
         "account-staging.quillfern.example/qsn/service/gi_count/query"},
        {RequestType::kLogGIQuota, "", "account.quillfern.example/qsn/service/gi_count/log",
         "account-staging.quillfern.example/qsn/service/gi_count/log"},
        {RequestType::kGetProductListV2, "", "account.quillfern.example/qsn/service/v2/getProductList",
         "account-staging.quillfern.example/qsn/service/v2/getProductList"},
        {RequestType::kInitMemberAuth, "", "member.quillfern.example/member-auth/v1/init",
         "member-staging.quillfern.example/member-auth/v1/init"},
        {RequestType::kRefreshMemberToken, "", "member.quillfern.example/member-auth/v1/refresh/00000000",
         "member-staging.quillfern.example/member-auth/v1/refresh/00000000"},
        {RequestType::kRefreshMemberToken, "4711", "member.quillfern.example/member-auth/v1/refresh/4711",
         "member-staging.quillfern.example/member-auth/v1/refresh/4711"},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(qsn::GetServerURL(each.type, false, each.memberId), std::string("https://") + each.production);
        EXPECT_EQ(qsn::GetServerURL(each.type, true, each.memberId), std::string("https://") + each.staging);
    }
}

TEST(Endpoints, AddressesAreSplitAsTheClientNeedsThem) {
    struct {
        const char* url;
        const char* scheme;
        const char* host;
        const char* path;
    } const cases[] = {
        {"HTTPS://Account.Example/Path/X?a=B", "https", "account.example", "/Path/X?a=B"},
        {"https://account.example", "https", "account.example", ""},
        {"https:///x", "https", "", "/x"},
        {"account.example/x", "", "", ""},
        {"", "", "", ""},
    };
    for (const auto& each : cases) {
        const qsn::SplitURL parts = qsn::SplitServerURL(each.url);
        EXPECT_EQ(parts.scheme, each.scheme) << each.url;
        EXPECT_EQ(parts.host, each.host) << each.url;
        EXPECT_EQ(parts.path, each.path) << each.url;
    }
}

}  // namespace

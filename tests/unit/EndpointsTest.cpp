#include "engine/Endpoints.h"

#include <gtest/gtest.h>

#include "engine/HttpsClient.h"

namespace {

using qsn::RequestType;

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

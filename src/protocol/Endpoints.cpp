#include "protocol/Endpoints.h"

#include <qsn/BuildConstants.h>

#include <algorithm>
#include <utility>

namespace qsn {
namespace {

ServerURL ServiceURL(bool useTestbed, std::string path) {
    return {useTestbed ? kStagingServiceHost : kServiceHost, std::move(path)};
}

ServerURL MemberURL(bool useTestbed, std::string path) {
    return {useTestbed ? kStagingMemberHost : kMemberHost, std::move(path)};
}

constexpr std::size_t kLongestIdentifier = 20;  // digits, of a number of 64 bits

bool IsIdentifier(std::string_view text) {
    return !text.empty() && text.size() <= kLongestIdentifier &&
           std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

ServerURL GetServerURL(RequestType type, bool useTestbed, std::string_view memberId) {
    switch (type) {
        case RequestType::kQueryGIQuota: return ServiceURL(useTestbed, "/qsn/service/gi_count/query");
        case RequestType::kLogGIQuota: return ServiceURL(useTestbed, "/qsn/service/gi_count/log");
        case RequestType::kGetProductListV2: return ServiceURL(useTestbed, "/qsn/service/v2/getProductList");
        case RequestType::kInitMemberAuth: return MemberURL(useTestbed, "/member-auth/v1/init");
        case RequestType::kRefreshMemberToken:
            return MemberURL(
                useTestbed,
                std::string("/member-auth/v1/refresh/").append(IsIdentifier(memberId) ? memberId : "00000000"));
        default: return ServiceURL(useTestbed, "/qsn/service/request");
    }
}

std::string LoginPageURL(bool useTestbed) { return ServiceURL(useTestbed, "/qsn/page/login").Text(); }

}  // namespace qsn

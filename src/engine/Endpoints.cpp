#include "engine/Endpoints.h"

#include <qsn/BuildConstants.h>

namespace qsn {
namespace {

std::string ServiceURL(bool useTestbed, std::string_view path) {
    return std::string("https://").append(useTestbed ? kStagingServiceHost : kServiceHost).append(path);
}

std::string MemberURL(bool useTestbed, std::string_view path) {
    return std::string("https://").append(useTestbed ? kStagingMemberHost : kMemberHost).append(path);
}

}  // namespace

std::string GetServerURL(RequestType type, bool useTestbed, std::string_view memberId) {
    switch (type) {
        case RequestType::kQueryGIQuota: return ServiceURL(useTestbed, "/qsn/service/gi_count/query");
        case RequestType::kLogGIQuota: return ServiceURL(useTestbed, "/qsn/service/gi_count/log");
        case RequestType::kGetProductListV2: return ServiceURL(useTestbed, "/qsn/service/v2/getProductList");
        case RequestType::kInitMemberAuth: return MemberURL(useTestbed, "/member-auth/v1/init");
        case RequestType::kRefreshMemberToken:
            return MemberURL(useTestbed, "/member-auth/v1/refresh/").append(memberId.empty() ? "00000000" : memberId);
        default: return ServiceURL(useTestbed, "/qsn/service/request");
    }
}

std::string LoginPageURL(bool useTestbed) { return ServiceURL(useTestbed, "/qsn/page/login"); }

}  // namespace qsn

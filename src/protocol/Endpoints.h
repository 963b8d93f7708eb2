#pragma once

#include <string>
#include <string_view>

namespace qsn {

// The operations of the service, with the numbers of its protocol. The gaps belong to operations of other products.
enum class RequestType {
    kSignOut = 5,
    kGetUserInfo = 6,
    kGetProductList = 7,
    kVerifyToken = 14,
    kQueryGIQuota = 15,
    kLogGIQuota = 16,
    kGetProductListV2 = 17,
    kInitMemberAuth = 19,
    kRefreshMemberToken = 20,
};

// An address of the service. The scheme is https, with its usual port.
struct ServerURL {
    std::string host;
    std::string path;

    std::string Text() const { return "https://" + host + path; }
};

// The address that a request is posted to. `memberId` is part of it for kRefreshMemberToken only, and only if it is a
// number: anything else could lead to another place.
ServerURL GetServerURL(RequestType type, bool useTestbed, std::string_view memberId);

// The login page, without its query.
std::string LoginPageURL(bool useTestbed);

}  // namespace qsn

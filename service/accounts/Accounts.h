#pragma once

#include <json/value.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "service/net/HostNames.h"

namespace qsn::service {

struct AccessToken {
    std::string text;
    std::optional<Site> site = {};  // valid there only
    int result = 0;                 // not 0: every request under this token is refused with it
    bool permanent = false;         // survives a sign-out
};

struct MenuItem {
    std::string item;
    std::string url;
};

struct Quota {
    std::string resetDate;
    int remainCount = 0;
};

struct User {
    std::string userId;
    std::string userName;
    std::string userEmail;
    std::vector<AccessToken> accessTokens = {};
    std::vector<std::string> memberTokens = {};
    std::vector<MenuItem> menu = {};
    Json::Value products{Json::arrayValue};
    Json::Value productsV2{Json::nullValue};
    std::map<std::string, Quota> quotas = {};          // by product SID; "*" stands for any other
    std::map<std::string, std::string> messages = {};  // by request type; sent as "additionalMessage"
    std::optional<int> nextVerifyTime = {};            // seconds
    std::vector<std::string> refreshTokens = {};       // for new member tokens
    int memberId = 0;
    int memberTokenLifetime = 3600;  // seconds
    std::string password = {};       // empty: the login page does not take this user
};

struct Accounts {
    std::vector<User> users = {};
    std::optional<std::vector<std::string>> productSids = {};  // that the login page knows; nothing: any

    User* FindByAccessToken(std::string_view token);
    User* FindByMemberToken(std::string_view token);
    User* FindByRefreshToken(std::string_view token);
    User* FindByUserId(std::string_view userId);
    // By user name or e-mail address, without regard to case.
    User* FindByLogin(std::string_view name, std::string_view password);

    // The empty SID is not.
    bool IsKnownProduct(std::string_view productSid) const;
};

}  // namespace qsn::service

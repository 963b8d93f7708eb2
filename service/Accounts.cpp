#include "Accounts.h"

#include <algorithm>

namespace qsn::service {

User* Accounts::FindByAccessToken(std::string_view token) {
    for (User& user : users) {
        for (const AccessToken& held : user.accessTokens) {
            if (held.text == token) return &user;
        }
    }
    return nullptr;
}

User* Accounts::FindByMemberToken(std::string_view token) {
    for (User& user : users) {
        const auto& held = user.memberTokens;
        if (std::find(held.begin(), held.end(), token) != held.end()) return &user;
    }
    return nullptr;
}

}  // namespace qsn::service

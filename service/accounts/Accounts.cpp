#include "service/accounts/Accounts.h"

#include <algorithm>

#include "service/crypto/Secrets.h"
#include "service/text/Text.h"

namespace qsn::service {
namespace {

User* FindHolder(std::vector<User>& users, std::vector<std::string> User::*tokens, std::string_view token) {
    for (User& user : users) {
        const auto& held = user.*tokens;
        if (std::find(held.begin(), held.end(), token) != held.end()) return &user;
    }
    return nullptr;
}

}  // namespace

User* Accounts::FindByAccessToken(std::string_view token) {
    for (User& user : users) {
        for (const AccessToken& held : user.accessTokens) {
            if (held.text == token) return &user;
        }
    }
    return nullptr;
}

User* Accounts::FindByMemberToken(std::string_view token) { return FindHolder(users, &User::memberTokens, token); }
User* Accounts::FindByRefreshToken(std::string_view token) { return FindHolder(users, &User::refreshTokens, token); }

User* Accounts::FindByUserId(std::string_view userId) {
    const auto found =
        std::find_if(users.begin(), users.end(), [&](const User& user) { return user.userId == userId; });
    return found == users.end() ? nullptr : &*found;
}

User* Accounts::FindByLogin(std::string_view name, std::string_view password) {
    const auto found = std::find_if(users.begin(), users.end(), [&](const User& user) {
        // The password first, so that an unknown name takes as long as a known one.
        return EqualSecrets(password, user.password) && !user.password.empty() && !name.empty() &&
               (EqualIgnoringCase(name, user.userName) || EqualIgnoringCase(name, user.userEmail));
    });
    return found == users.end() ? nullptr : &*found;
}

bool Accounts::IsKnownProduct(std::string_view productSid) const {
    return !productSid.empty() &&
           (!productSids || std::find(productSids->begin(), productSids->end(), productSid) != productSids->end());
}

}  // namespace qsn::service

#pragma once

#include <optional>

#include "service/accounts/AccountStore.h"
#include "service/http/HttpReply.h"
#include "service/pages/LoginTickets.h"

namespace qsn::service {

// Behind the login page: shows the form, checks what was submitted and hands out a new access token. Any thread may
// call. The parts outlive it.
class LoginService {
public:
    LoginService(AccountStore& accounts, LoginTickets& tickets) : accounts_(accounts), tickets_(tickets) {}

    // `site`: where the token will be valid; nothing: both. `origin`: that of the page itself.
    HttpReply Answer(const RecordedRequest& request, std::optional<Site> site, std::string_view origin) const;

private:
    HttpReply Show(const RecordedRequest& request, std::optional<Site> site) const;
    HttpReply Submit(const RecordedRequest& request) const;
    HttpReply SignIn(LoginAttempt attempt, const std::string& form) const;

    AccountStore& accounts_;
    LoginTickets& tickets_;
};

}  // namespace qsn::service

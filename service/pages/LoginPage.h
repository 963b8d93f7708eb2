#pragma once

#include <string>
#include <string_view>

#include "service/http/HttpReply.h"
#include "service/pages/LoginTickets.h"

namespace qsn::service {

inline constexpr std::string_view kLoginPagePath = "/qsn/page/login";

struct LoginForm {
    const LoginAttempt& attempt;
    std::string ticket;
    std::string name = {};     // already in the field
    std::string problem = {};  // with the last attempt
};

HttpReply LoginFormPage(const LoginForm& form);
// The last page of a login: one heading and one sentence.
HttpReply LoginNotice(int status, std::string_view heading, const std::string& text);
HttpReply TokenPage(const std::string& userName, const std::string& token);

// To the host that waits for the outcome. Its address is always this machine's.
HttpReply HandOver(const LoginReturn& to, std::string_view name, const std::string& value);

}  // namespace qsn::service

#pragma once

#include <string>
#include <string_view>

namespace qsn::service {

constexpr std::string_view kLoginPagePath = "/qsn/page/login";

std::string LoginPage(std::string_view productSid);

}  // namespace qsn::service

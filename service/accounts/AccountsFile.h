#pragma once

#include <filesystem>
#include <stdexcept>
#include <string_view>

#include "service/accounts/Accounts.h"

namespace qsn::service {

// what() is one line: the place in the document, and what is wrong there.
class AccountsError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The format is described in README.md. Both throw AccountsError.
Accounts ParseAccounts(std::string_view text);
Accounts LoadAccounts(const std::filesystem::path& file);

}  // namespace qsn::service

#pragma once

#include <mutex>
#include <utility>

#include "service/accounts/Accounts.h"

namespace qsn::service {

// The accounts of a running service. Any thread may call.
class AccountStore {
public:
    explicit AccountStore(Accounts accounts) : accounts_(std::move(accounts)) {}

    // Runs `edit(Accounts&)` while no request is being answered, and returns what it returns.
    template <typename Edit>
    auto Use(Edit&& edit) {
        const std::lock_guard guard(accountsLock_);
        return std::forward<Edit>(edit)(accounts_);
    }

private:
    std::mutex accountsLock_;
    Accounts accounts_;
};

}  // namespace qsn::service

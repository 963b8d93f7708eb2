#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "service/net/HostNames.h"

namespace qsn::service {

// Where a host on this machine waits for the outcome of a login.
struct LoginReturn {
    std::uint16_t port = 0;
    std::string state;
};

// What a login form is for. The form itself holds only a ticket, so none of this can be changed there.
struct LoginAttempt {
    std::string productSid;
    std::optional<Site> site = {};             // where the token will be valid; nothing: both
    std::optional<LoginReturn> handOver = {};  // nothing: the token is shown
};

// The login forms that are open. Each ticket is good once, and for a limited time. Any thread may call.
class LoginTickets {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::minutes kLifetime{10};

    explicit LoginTickets(std::function<Clock::time_point()> now = Clock::now) : now_(std::move(now)) {}

    std::string Issue(LoginAttempt attempt);
    // Nothing if the ticket is unknown, used or too old.
    std::optional<LoginAttempt> Take(std::string_view ticket);
    // As if all of them had become too old.
    void ExpireAll();

private:
    struct Open {
        std::string ticket;
        Clock::time_point issued;
        LoginAttempt attempt;
    };

    std::function<Clock::time_point()> now_;
    std::mutex openLock_;
    std::deque<Open> open_;  // the oldest first
};

}  // namespace qsn::service

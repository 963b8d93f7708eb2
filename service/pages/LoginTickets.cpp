#include "service/pages/LoginTickets.h"

#include <algorithm>

#include "service/crypto/Secrets.h"

namespace qsn::service {
namespace {

constexpr std::size_t kTicketBytes = 16;
// A page that is loaded again and again must not fill the memory.
constexpr std::size_t kMostOpen = 1000;

}  // namespace

std::string LoginTickets::Issue(LoginAttempt attempt) {
    std::string ticket = RandomHex(kTicketBytes);
    const std::lock_guard guard(openLock_);
    if (open_.size() == kMostOpen) open_.pop_front();
    open_.push_back({ticket, now_(), std::move(attempt)});
    return ticket;
}

std::optional<LoginAttempt> LoginTickets::Take(std::string_view ticket) {
    const std::lock_guard guard(openLock_);
    const auto oldest = now_() - kLifetime;
    while (!open_.empty() && open_.front().issued <= oldest) open_.pop_front();
    const auto found = std::find_if(open_.begin(), open_.end(), [&](const Open& row) { return row.ticket == ticket; });
    if (found == open_.end()) return std::nullopt;
    LoginAttempt attempt = std::move(found->attempt);
    open_.erase(found);
    return attempt;
}

void LoginTickets::ExpireAll() {
    const std::lock_guard guard(openLock_);
    open_.clear();
}

}  // namespace qsn::service

#include "service/http/Script.h"

#include <algorithm>

#include "service/text/Text.h"

namespace qsn::service {

bool RequestMatch::Matches(const RecordedRequest& request) const {
    return (host.empty() || EqualIgnoringCase(host, request.host)) && (path.empty() || path == request.Path()) &&
           (requestType.empty() || requestType == request.requestType) && (!where || where(request));
}

void Script::Times(unsigned count, ReplyChange change, RequestMatch match) {
    const std::lock_guard guard(rulesLock_);
    if (count > 0) counted_.push_back({std::move(match), std::move(change), count});
}

void Script::Always(ReplyChange change, RequestMatch match) {
    const std::lock_guard guard(rulesLock_);
    lasting_.push_front({std::move(match), std::move(change), 0});
}

void Script::Clear() {
    const std::lock_guard guard(rulesLock_);
    counted_.clear();
    lasting_.clear();
}

unsigned Script::Pending() const {
    const std::lock_guard guard(rulesLock_);
    unsigned pending = 0;
    for (const Rule& rule : counted_) pending += rule.left;
    return pending;
}

std::optional<ReplyChange> Script::Take(const RecordedRequest& request) {
    const std::lock_guard guard(rulesLock_);
    const auto matches = [&](const Rule& rule) { return rule.match.Matches(request); };
    if (const auto rule = std::find_if(counted_.begin(), counted_.end(), matches); rule != counted_.end()) {
        ReplyChange change = rule->change;
        if (--rule->left == 0) counted_.erase(rule);
        return change;
    }
    const auto rule = std::find_if(lasting_.begin(), lasting_.end(), matches);
    return rule == lasting_.end() ? std::nullopt : std::optional(rule->change);
}

}  // namespace qsn::service

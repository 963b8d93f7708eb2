#include "service/server/RequestLog.h"

#include <utility>

namespace qsn::service {
namespace {

// A page that loops, or a port scan, must not fill the memory.
constexpr std::size_t kMostRefused = 1000;

}  // namespace

void RequestLog::Add(const RecordedRequest& request) {
    const std::lock_guard guard(logLock_);
    ++counters_.requests;
    if (!keepRequests_) return;
    requests_.push_back(request);
    arrived_.notify_all();
}

void RequestLog::AddRefused(const std::string& target) {
    const std::lock_guard guard(logLock_);
    if (counters_.refusedTargets.size() < kMostRefused) counters_.refusedTargets.push_back(target);
}

void RequestLog::CountOne(unsigned Counters::*counter) {
    const std::lock_guard guard(logLock_);
    ++(counters_.*counter);
}

std::vector<RecordedRequest> RequestLog::Take() {
    const std::lock_guard guard(logLock_);
    return std::exchange(requests_, {});
}

bool RequestLog::WaitFor(std::size_t count, std::chrono::milliseconds timeout) {
    std::unique_lock guard(logLock_);
    return arrived_.wait_for(guard, timeout, [&] { return requests_.size() >= count; });
}

Counters RequestLog::Count() const {
    const std::lock_guard guard(logLock_);
    return counters_;
}

}  // namespace qsn::service

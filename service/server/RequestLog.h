#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "service/http/RecordedRequest.h"

namespace qsn::service {

struct Counters {
    unsigned connections = 0;
    unsigned tunnels = 0;  // CONNECT accepted
    unsigned handshakes = 0;
    unsigned requests = 0;
    std::vector<std::string> refusedTargets = {};  // of CONNECT to a foreign host, and of requests outside a tunnel
};

// What arrived at a server. Any thread may call.
class RequestLog {
public:
    explicit RequestLog(bool keepRequests) : keepRequests_(keepRequests) {}

    void Add(const RecordedRequest& request);
    void AddRefused(const std::string& target);
    void CountOne(unsigned Counters::*counter);

    std::vector<RecordedRequest> Take();
    bool WaitFor(std::size_t count, std::chrono::milliseconds timeout);
    Counters Count() const;

private:
    const bool keepRequests_;
    mutable std::mutex logLock_;
    std::condition_variable arrived_;
    std::vector<RecordedRequest> requests_;
    Counters counters_;
};

}  // namespace qsn::service

#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "service/http/RecordedRequest.h"

namespace qsn::service {

// A request as the developer page shows it: no token in full, no password, no text beyond a limit.
struct HistoryEntry {
    std::uint64_t number = 0;  // from 1
    std::string summary;       // one line: when, where, what, outcome
    bool failed = false;
    // Name and text; a text may have several lines.
    std::vector<std::pair<std::string_view, std::string>> details = {};
};

// The last requests, for the developer page. Any thread may call.
class RequestHistory {
public:
    explicit RequestHistory(std::size_t size) : size_(size) {}

    void Add(const RecordedRequest& request);
    std::uint64_t LastNumber() const;
    // The newest first.
    std::vector<HistoryEntry> Entries() const;

private:
    const std::size_t size_;
    mutable std::mutex entriesLock_;
    std::uint64_t lastNumber_ = 0;
    std::deque<HistoryEntry> entries_;
};

}  // namespace qsn::service

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "service/net/ProxySetting.h"
#include "service/server/AccountServer.h"

namespace qsn::soak {

// Makes the service and the way to it fail at random, and counts how often a client met each fault. Faults that keep a
// client waiting are rare.
class Faults {
public:
    // The order depends on `seed` and the requests that come.
    Faults(service::AccountServer& server, unsigned seed);
    Faults(const Faults&) = delete;
    Faults& operator=(const Faults&) = delete;

    // Call it once a second. The way is good most of the time.
    void Tick(unsigned second);
    // From now on nothing fails.
    void End();
    std::uint64_t Total() const;
    std::string Text() const;

private:
    struct Replies;
    void SpoilTheWay();
    void MendTheWay();

    service::AccountServer& m_server;
    std::size_t m_nextWay;
    std::shared_ptr<Replies> m_replies;  // shared with the rules, which the service keeps
    std::vector<std::uint64_t> m_waysMet;
    std::optional<service::ProxySetting> m_proxy;
};

}  // namespace qsn::soak

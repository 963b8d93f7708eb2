#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "service/AccountServer.h"

namespace qsn::soak {

// How often each fault has met a request. Missing are those that Wine's own WinINet does not survive: a reply that is
// not begun, broken compression or chunk sizes, a handshake broken off.
class Faults {
public:
    // Has the service fail at random, in an order that depends on `seed` and the requests that come.
    Faults(service::AccountServer& server, unsigned seed);
    Faults(const Faults&) = delete;
    Faults& operator=(const Faults&) = delete;

    std::uint64_t Total() const;
    std::string Text() const;

private:
    struct State;
    std::shared_ptr<State> m_state;  // shared with the rules, which the service keeps
};

}  // namespace qsn::soak

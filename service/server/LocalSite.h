#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "service/crypto/Secrets.h"
#include "service/pages/FaultBoard.h"
#include "service/pages/RequestHistory.h"
#include "service/server/Dispatcher.h"

namespace qsn::service {

// What the port answers to a browser that asks it directly, without TLS: the login page, and the page for developers of
// hosts. Any thread may call. The parts outlive it.
class LocalSite {
public:
    LocalSite(std::uint16_t port, const Dispatcher& dispatcher, FaultBoard& faults, const RequestHistory& history)
        : port_(port), dispatcher_(dispatcher), faults_(faults), history_(history) {}

    // Whether the request is for the service and not for the developer page.
    static bool IsService(const RecordedRequest& request);
    // Completes the request's record if it belongs to the service.
    Answer Run(RecordedRequest& request) const;

private:
    bool IsOwnHost(std::string_view host) const;
    HttpReply Look(const RecordedRequest& request) const;
    HttpReply PressButton(const RecordedRequest& request) const;

    const std::uint16_t port_;
    const Dispatcher& dispatcher_;
    FaultBoard& faults_;
    const RequestHistory& history_;
    const std::string ticket_ = RandomHex(16);
};

}  // namespace qsn::service

#pragma once

#include <chrono>

#include "service/net/Socket.h"

namespace qsn::service {

// Holds a reply back for as long as a test needs. What the test does meanwhile always comes between the request and its
// outcome.
class ReplyGate {
public:
    // The test's side. False if no request has come to the gate within `time`.
    bool WaitForRequest(std::chrono::milliseconds time) const { return reached_.WaitFor(time); }
    // For good: later replies pass at once.
    void Open() const { open_.Raise(); }

    // The service's side. False if `ended` was raised first.
    bool Pass(const StopSignal& ended) const {
        reached_.Raise();
        return WaitReadable(open_.Handle(), ended);
    }

private:
    StopSignal reached_;
    StopSignal open_;
};

}  // namespace qsn::service

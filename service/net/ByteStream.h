#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "service/net/Socket.h"

namespace qsn::service {

// One direction each; both end when the stop signal of the connection is raised.
class ByteStream {
public:
    // Waits for at least one byte. 0: the peer closed, the connection broke, or the signal was raised.
    virtual std::size_t ReadSome(std::span<char> buffer) = 0;
    virtual bool WriteAll(std::string_view bytes) = 0;

protected:
    ~ByteStream() = default;
};

// On a non-blocking socket that outlives it, as does the signal.
class PlainStream final : public ByteStream {
public:
    PlainStream(const Socket& socket, const StopSignal& stop) : socket_(socket.Get()), stop_(stop) {}
    std::size_t ReadSome(std::span<char> buffer) override;
    bool WriteAll(std::string_view bytes) override;

private:
    SOCKET socket_;
    const StopSignal& stop_;
};

}  // namespace qsn::service

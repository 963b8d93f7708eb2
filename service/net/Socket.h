#pragma once

#include <winsock2.h>

#include <chrono>
#include <cstdint>
#include <utility>

namespace qsn::service {

// Winsock, for as long as the object lives.
class WinsockSession {
public:
    WinsockSession();
    ~WinsockSession() { WSACleanup(); }
    WinsockSession(const WinsockSession&) = delete;
    WinsockSession& operator=(const WinsockSession&) = delete;
};

class Socket {
public:
    Socket() = default;
    explicit Socket(SOCKET handle) : handle_(handle) {}
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    Socket(Socket&& other) noexcept : handle_(std::exchange(other.handle_, INVALID_SOCKET)) {}
    Socket& operator=(Socket&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~Socket() {
        if (handle_ != INVALID_SOCKET) closesocket(handle_);
    }

    SOCKET Get() const { return handle_; }
    explicit operator bool() const { return handle_ != INVALID_SOCKET; }

    void MakeNonBlocking() const;
    std::uint16_t LocalPort() const;

private:
    SOCKET handle_ = INVALID_SOCKET;
};

// Both throw std::system_error.
Socket ListenOnLoopback(std::uint16_t port);
[[noreturn]] void ThrowSocketError(const char* call);

// Ends waits on sockets from another thread, for good. An unread datagram keeps its socket readable, and every wait
// selects on it besides its own socket. Closing a socket under its reader would end the wait too, but by then the
// handle may belong to somebody else in the process.
class StopSignal {
public:
    StopSignal();
    void Raise() const;
    // True if it was raised within `time`.
    bool WaitFor(std::chrono::milliseconds time) const;
    void Wait() const;

    SOCKET Handle() const { return socket_.Get(); }

private:
    Socket socket_;
};

// False if the signal was raised first, or the wait failed.
bool WaitReadable(SOCKET socket, const StopSignal& stop);
bool WaitWritable(SOCKET socket, const StopSignal& stop);

}  // namespace qsn::service

#pragma once

#include <winsock2.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace sample {

// Closes its socket.
class OwnedSocket {
public:
    explicit OwnedSocket(SOCKET handle) : m_handle(handle) {}
    OwnedSocket(OwnedSocket&& other) noexcept : m_handle(std::exchange(other.m_handle, INVALID_SOCKET)) {}
    OwnedSocket& operator=(OwnedSocket&& other) noexcept {
        std::swap(m_handle, other.m_handle);
        return *this;
    }
    ~OwnedSocket() {
        if (m_handle != INVALID_SOCKET) closesocket(m_handle);
    }

    SOCKET Get() const { return m_handle; }
    explicit operator bool() const { return m_handle != INVALID_SOCKET; }

private:
    SOCKET m_handle;
};

// One request and its reply, without ever waiting: the owner calls `Advance` when the network has news. Both its time
// and what it keeps of an endless request are bounded.
class RedirectConnection {
public:
    using Clock = std::chrono::steady_clock;
    using MakeReply = std::function<std::string(std::string_view head)>;

    static constexpr std::chrono::seconds kTimeLimit{10};
    static constexpr std::size_t kHeadLimit = 8192;

    // `news` is set whenever `Advance` may have something to do.
    RedirectConnection(OwnedSocket socket, WSAEVENT news);

    // False when the connection is over. `makeReply` is called at most once.
    bool Advance(const MakeReply& makeReply);
    Clock::time_point Deadline() const { return m_deadline; }

private:
    bool Read(const MakeReply& makeReply);
    bool Write();

    OwnedSocket m_socket;
    Clock::time_point m_deadline = Clock::now() + kTimeLimit;
    std::string m_head;
    std::string m_reply;
    std::size_t m_sent = 0;
    bool m_answered = false;
};

}  // namespace sample

/*
 * A browser's connection to a listener of this machine. Part of <qsn/client/interactive.hpp>.
 *
 * Of Windows' two socket headers, the older comes with <windows.h> unless WIN32_LEAN_AND_MEAN is defined, and then
 * keeps the newer out. This gets by with either. A source that needs <winsock2.h> itself includes it ahead of
 * everything else, as always.
 */
#pragma once

#ifndef _WINSOCKAPI_
#include <winsock2.h>
#endif

#include <windows.h>

#include <qsn/client/loopback_request.hpp>

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#ifndef _WINSOCK2API_
extern "C" __declspec(dllimport) int __stdcall WSAEventSelect(SOCKET socket, HANDLE event, long networkEvents);
#endif

namespace qsn::detail {

// What only the newer header has a name for.
inline constexpr int kExclusiveAddress = ~SO_REUSEADDR;
inline constexpr int kSending = 1;

// Closes its socket.
class OwnedSocket {
public:
    explicit OwnedSocket(SOCKET handle) noexcept : m_handle(handle) {}
    OwnedSocket(OwnedSocket&& other) noexcept : m_handle(std::exchange(other.m_handle, INVALID_SOCKET)) {}
    OwnedSocket& operator=(OwnedSocket&& other) noexcept {
        std::swap(m_handle, other.m_handle);
        return *this;
    }
    ~OwnedSocket() {
        if (m_handle != INVALID_SOCKET) closesocket(m_handle);
    }

    SOCKET Get() const noexcept { return m_handle; }
    explicit operator bool() const noexcept { return m_handle != INVALID_SOCKET; }

private:
    SOCKET m_handle;
};

// One request and its reply, without ever waiting: the owner calls `Advance` when the network has news. Both its time
// and what it keeps of an endless request are bounded.
class LoopbackConnection {
public:
    using Clock = std::chrono::steady_clock;
    using MakeReply = std::function<std::string(std::string_view head)>;

    static constexpr std::chrono::seconds kTimeLimit{10};
    static constexpr std::size_t kHeadLimit = 8192;

    // `news` is set whenever `Advance` may have something to do.
    LoopbackConnection(OwnedSocket socket, HANDLE news) : m_socket(std::move(socket)) {
        // Makes the socket non-blocking, too.
        WSAEventSelect(m_socket.Get(), news, FD_READ | FD_WRITE | FD_CLOSE);
    }

    // False when the connection is over. `makeReply` is called at most once.
    bool Advance(const MakeReply& makeReply) { return Clock::now() < m_deadline && Read(makeReply) && Write(); }
    Clock::time_point Deadline() const { return m_deadline; }
    bool OwesReply() const { return m_sent < m_reply.size(); }

private:
    // Keeps reading after the reply: closing a socket with unread data resets it, and the reply could be lost on its
    // way.
    bool Read(const MakeReply& makeReply) {
        // Bounded, because a client may send faster than this reads, and the others need their turn.
        for (int turn = 0; turn < 16; ++turn) {
            char piece[1024];
            const int size = recv(m_socket.Get(), piece, sizeof(piece), 0);
            if (size == 0) return false;
            if (size < 0) return WSAGetLastError() == WSAEWOULDBLOCK;
            if (m_answered) continue;
            m_head.append(piece, static_cast<std::size_t>(size));
            const std::size_t end = m_head.find("\r\n\r\n");
            if (end == std::string::npos && m_head.size() < kHeadLimit) continue;
            m_answered = true;
            m_reply = end == std::string::npos
                          ? PageReply("431 Request Header Fields Too Large", "The request is too long.")
                          : makeReply(std::string_view(m_head).substr(0, end));
            m_head = {};
        }
        return true;
    }

    bool Write() {
        if (!OwesReply()) return true;
        const int size = send(m_socket.Get(), m_reply.data() + m_sent, static_cast<int>(m_reply.size() - m_sent), 0);
        if (size < 0) return WSAGetLastError() == WSAEWOULDBLOCK;
        m_sent += static_cast<std::size_t>(size);
        if (!OwesReply()) shutdown(m_socket.Get(), kSending);
        return true;
    }

    OwnedSocket m_socket;
    Clock::time_point m_deadline = Clock::now() + kTimeLimit;
    std::string m_head;
    std::string m_reply;
    std::size_t m_sent = 0;
    bool m_answered = false;
};

}  // namespace qsn::detail

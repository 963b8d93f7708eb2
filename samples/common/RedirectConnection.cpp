#include "RedirectConnection.h"

#include "RedirectRequest.h"

namespace sample {

RedirectConnection::RedirectConnection(OwnedSocket socket, WSAEVENT news) : m_socket(std::move(socket)) {
    // Makes the socket non-blocking, too.
    WSAEventSelect(m_socket.Get(), news, FD_READ | FD_WRITE | FD_CLOSE);
}

bool RedirectConnection::Advance(const MakeReply& makeReply) {
    return Clock::now() < m_deadline && Read(makeReply) && Write();
}

// Keeps reading after the reply: closing a socket with unread data resets it, and the reply could be lost on its way.
bool RedirectConnection::Read(const MakeReply& makeReply) {
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

bool RedirectConnection::Write() {
    if (m_sent == m_reply.size()) return true;
    const int size = send(m_socket.Get(), m_reply.data() + m_sent, static_cast<int>(m_reply.size() - m_sent), 0);
    if (size < 0) return WSAGetLastError() == WSAEWOULDBLOCK;
    m_sent += static_cast<std::size_t>(size);
    if (m_sent == m_reply.size()) shutdown(m_socket.Get(), SD_SEND);
    return true;
}

}  // namespace sample

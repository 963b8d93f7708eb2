#pragma once

#include <winsock2.h>

#include <string>

namespace qsn::test {

// A connection to a port of this machine that sends what it is told. Whoever listens there has started Winsock.
class PlainClient {
public:
    explicit PlainClient(int port) : m_socket(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<u_short>(port));
        connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
        const DWORD bound = 20000;
        setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&bound), sizeof(bound));
    }
    PlainClient(const PlainClient&) = delete;
    PlainClient& operator=(const PlainClient&) = delete;
    ~PlainClient() { closesocket(m_socket); }

    void Send(const std::string& bytes) const { send(m_socket, bytes.data(), static_cast<int>(bytes.size()), 0); }
    // Everything until the other side closes.
    std::string Reply() const {
        std::string reply;
        char piece[512];
        for (int size; (size = recv(m_socket, piece, sizeof(piece), 0)) > 0;) {
            reply.append(piece, static_cast<std::size_t>(size));
        }
        return reply;
    }
    static std::string Ask(int port, const std::string& bytes) {
        const PlainClient client(port);
        client.Send(bytes);
        return client.Reply();
    }

private:
    SOCKET m_socket;
};

}  // namespace qsn::test

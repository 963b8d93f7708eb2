#include "service/net/Socket.h"

#include <system_error>

namespace qsn::service {
namespace {

sockaddr_in Loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

void Bind(const Socket& socket, std::uint16_t port) {
    const sockaddr_in address = Loopback(port);
    if (bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) ThrowSocketError("bind");
}

fd_set SetOf(SOCKET socket) {
    fd_set set;
    FD_ZERO(&set);
    FD_SET(socket, &set);
    return set;
}

bool IsIn(SOCKET socket, fd_set& set) { return FD_ISSET(socket, &set) != 0; }

}  // namespace

WinsockSession::WinsockSession() {
    WSADATA data;
    if (const int error = WSAStartup(MAKEWORD(2, 2), &data)) {
        throw std::system_error(error, std::system_category(), "WSAStartup");
    }
}

void ThrowSocketError(const char* call) { throw std::system_error(WSAGetLastError(), std::system_category(), call); }

void Socket::MakeNonBlocking() const {
    u_long on = 1;
    if (ioctlsocket(handle_, FIONBIO, &on) != 0) ThrowSocketError("ioctlsocket");
}

std::uint16_t Socket::LocalPort() const {
    sockaddr_in address{};
    int size = sizeof address;
    if (getsockname(handle_, reinterpret_cast<sockaddr*>(&address), &size) != 0) ThrowSocketError("getsockname");
    return ntohs(address.sin_port);
}

Socket ListenOnLoopback(std::uint16_t port) {
    Socket listener(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    if (!listener) ThrowSocketError("socket");
    // Without it Windows lets a second program listen on the same port.
    const BOOL exclusive = TRUE;
    setsockopt(listener.Get(), SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&exclusive),
               sizeof exclusive);
    Bind(listener, port);
    if (listen(listener.Get(), SOMAXCONN) != 0) ThrowSocketError("listen");
    listener.MakeNonBlocking();
    return listener;
}

StopSignal::StopSignal() : socket_(socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP)) {
    if (!socket_) ThrowSocketError("socket");
    Bind(socket_, 0);
    const sockaddr_in self = Loopback(socket_.LocalPort());
    if (connect(socket_.Get(), reinterpret_cast<const sockaddr*>(&self), sizeof self) != 0) ThrowSocketError("connect");
}

void StopSignal::Raise() const { send(socket_.Get(), "", 1, 0); }

bool StopSignal::WaitFor(std::chrono::milliseconds time) const {
    fd_set read = SetOf(socket_.Get());
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    timeval limit{static_cast<long>(seconds.count()), static_cast<long>((time - seconds).count() * 1000)};
    return select(0, &read, nullptr, nullptr, &limit) > 0;
}

void StopSignal::Wait() const {
    fd_set read = SetOf(socket_.Get());
    select(0, &read, nullptr, nullptr, nullptr);
}

bool WaitReadable(SOCKET socket, const StopSignal& stop) {
    fd_set read = SetOf(socket);
    FD_SET(stop.Handle(), &read);
    return select(0, &read, nullptr, nullptr, nullptr) > 0 && !IsIn(stop.Handle(), read);
}

bool WaitWritable(SOCKET socket, const StopSignal& stop) {
    fd_set read = SetOf(stop.Handle());
    fd_set write = SetOf(socket);
    return select(0, &read, &write, nullptr, nullptr) > 0 && !IsIn(stop.Handle(), read);
}

}  // namespace qsn::service

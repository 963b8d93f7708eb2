/* A port of this machine, and the calls that its news lead to. Part of <qsn/client/interactive.hpp>. */
#pragma once

#include <qsn/client/loopback_connection.hpp>

#include <bcrypt.h>

#include <chrono>
#include <string>
#include <system_error>

namespace qsn::detail {

[[noreturn]] inline void ThrowSystemError(DWORD code, const char* call) {
    throw std::system_error(static_cast<int>(code), std::system_category(), call);
}
[[noreturn]] inline void ThrowSocketError(const char* call) {
    ThrowSystemError(static_cast<DWORD>(WSAGetLastError()), call);
}

class Winsock {
public:
    Winsock() {
        WSADATA data;
        if (const int error = WSAStartup(MAKEWORD(2, 2), &data))
            ThrowSystemError(static_cast<DWORD>(error), "WSAStartup");
    }
    ~Winsock() { WSACleanup(); }
    Winsock(const Winsock&) = delete;
    Winsock& operator=(const Winsock&) = delete;
};

// An event, and what the system's thread pool calls when it is set or a time is over. Each call has to be asked for.
class PoolWait {
public:
    PoolWait(PTP_WAIT_CALLBACK callback, void* context) : m_event(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
        if (!m_event) ThrowSystemError(GetLastError(), "CreateEvent");
        m_wait = CreateThreadpoolWait(callback, context, nullptr);
        if (m_wait) return;
        const DWORD error = GetLastError();
        CloseHandle(m_event);
        ThrowSystemError(error, "CreateThreadpoolWait");
    }
    ~PoolWait() {
        CloseThreadpoolWait(m_wait);
        CloseHandle(m_event);
    }
    PoolWait(const PoolWait&) = delete;
    PoolWait& operator=(const PoolWait&) = delete;

    HANDLE Event() const noexcept { return m_event; }
    void CallOnce(std::chrono::milliseconds atLatestIn) noexcept {
        ULARGE_INTEGER due;
        due.QuadPart = static_cast<ULONGLONG>(-10000 * static_cast<LONGLONG>(atLatestIn.count()));  // from now on
        FILETIME time = {due.LowPart, due.HighPart};
        SetThreadpoolWait(m_wait, m_event, &time);
    }
    void CallNoMore() noexcept { SetThreadpoolWait(m_wait, nullptr, nullptr); }
    void WaitForCall() noexcept { WaitForThreadpoolWaitCallbacks(m_wait, TRUE); }

private:
    HANDLE m_event;
    PTP_WAIT m_wait = nullptr;
};

inline std::string RandomText() {
    unsigned char bytes[24];
    const NTSTATUS status = BCryptGenRandom(nullptr, bytes, sizeof(bytes), BCRYPT_USE_SYSTEM_PREFERRED_RNG);
    if (status < 0) ThrowSystemError(static_cast<DWORD>(status), "BCryptGenRandom");
    std::string text;
    for (const unsigned char byte : bytes)
        text.append(1, "0123456789abcdef"[byte >> 4]).append(1, "0123456789abcdef"[byte & 15]);
    return text;
}

inline OwnedSocket ListenOnLoopback(HANDLE news) {
    OwnedSocket listener(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    if (!listener) ThrowSocketError("socket");
    // Without this, Windows lets a second program listen on the same port.
    const BOOL exclusive = TRUE;
    setsockopt(listener.Get(), SOL_SOCKET, kExclusiveAddress, reinterpret_cast<const char*>(&exclusive),
               sizeof(exclusive));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(listener.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0)
        ThrowSocketError("bind");
    if (listen(listener.Get(), SOMAXCONN) != 0) ThrowSocketError("listen");
    if (WSAEventSelect(listener.Get(), news, FD_ACCEPT) != 0) ThrowSocketError("WSAEventSelect");
    return listener;
}

inline std::string PortOf(const OwnedSocket& listener) {
    sockaddr_in address = {};
    int size = sizeof(address);
    if (getsockname(listener.Get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) ThrowSocketError("getsockname");
    return std::to_string(ntohs(address.sin_port));
}

}  // namespace qsn::detail

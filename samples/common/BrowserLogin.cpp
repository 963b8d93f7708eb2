#include <winsock2.h>
#include <windows.h>

#include "BrowserLogin.h"

#include <bcrypt.h>
#include <shellapi.h>

#include <algorithm>
#include <list>
#include <optional>
#include <string_view>
#include <system_error>
#include <thread>

#include "RedirectConnection.h"
#include "RedirectRequest.h"

namespace sample {
namespace {

constexpr char kExpiredText[] = "This sign-in has expired. Start again in the application.";

// The browser itself needs few. Beyond this number the oldest is closed, so nobody can keep the browser out by
// connecting and sending nothing.
constexpr std::size_t kMostConnections = 32;

// Wine sometimes loses a socket's event: without a regular look at the sockets, the browser would wait for ever.
constexpr long long kLookInterval = 250;  // ms

[[noreturn]] void ThrowSocketError(const char* call) {
    throw std::system_error(WSAGetLastError(), std::system_category(), call);
}

class Winsock {
public:
    Winsock() {
        WSADATA data;
        if (const int error = WSAStartup(MAKEWORD(2, 2), &data)) {
            throw std::system_error(error, std::system_category(), "WSAStartup");
        }
    }
    ~Winsock() { WSACleanup(); }
    Winsock(const Winsock&) = delete;
    Winsock& operator=(const Winsock&) = delete;
};

class Event {
public:
    Event() : m_handle(WSACreateEvent()) {
        if (m_handle == WSA_INVALID_EVENT) ThrowSocketError("WSACreateEvent");
    }
    ~Event() { WSACloseEvent(m_handle); }
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    WSAEVENT Get() const { return m_handle; }

private:
    WSAEVENT m_handle;
};

std::string RandomText() {
    unsigned char bytes[24];
    const NTSTATUS status = BCryptGenRandom(nullptr, bytes, sizeof(bytes), BCRYPT_USE_SYSTEM_PREFERRED_RNG);
    if (status < 0) throw std::system_error(status, std::system_category(), "BCryptGenRandom");
    std::string text;
    for (const unsigned char byte : bytes)
        text.append(1, "0123456789abcdef"[byte >> 4]).append(1, "0123456789abcdef"[byte & 15]);
    return text;
}

OwnedSocket ListenOnLoopback(WSAEVENT news) {
    OwnedSocket listener(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    if (!listener) ThrowSocketError("socket");
    // Without this, Windows lets a second program listen on the same port.
    const BOOL exclusive = TRUE;
    setsockopt(listener.Get(), SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&exclusive),
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

std::string PortOf(const OwnedSocket& listener) {
    sockaddr_in address = {};
    int size = sizeof(address);
    if (getsockname(listener.Get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) ThrowSocketError("getsockname");
    return std::to_string(ntohs(address.sin_port));
}

bool IsToken(std::string_view text) {
    return !text.empty() && text.size() <= BrowserLogin::kLongestToken &&
           std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < '\x7f'; });
}

}  // namespace

class BrowserLogin::Listener {
public:
    Listener(Report report, std::chrono::milliseconds timeLimit)
        : m_report(std::move(report)), m_deadline(Clock::now() + timeLimit), m_thread([this] { Run(); }) {}
    ~Listener() {
        WSASetEvent(m_stop.Get());
        m_thread.join();
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    std::string Parameters() const { return "redirect_port=" + m_port + "&state=" + m_state; }

private:
    using Clock = RedirectConnection::Clock;

    void Run() {
        const WSAEVENT events[] = {m_stop.Get(), m_news.Get()};
        for (;;) {
            const DWORD woken = WSAWaitForMultipleEvents(2, events, FALSE, TimeToWait(), FALSE);
            if (woken == WSA_WAIT_EVENT_0) return;
            // Reset before looking at the sockets, so that anything that comes meanwhile sets it again.
            WSAResetEvent(m_news.Get());
            if (!m_ended && woken == WSA_WAIT_FAILED) End(Outcome::kFailed);
            if (!m_ended && Clock::now() >= m_deadline) End(Outcome::kExpired);
            AcceptAll();
            m_connections.remove_if([this](RedirectConnection& each) {
                return !each.Advance([this](auto head) { return ReplyTo(head); });
            });
            // Only now that the reply is on its way.
            if (const auto outcome = std::exchange(m_unreported, std::nullopt)) m_report(*outcome, m_token);
            if (woken == WSA_WAIT_FAILED) return;
        }
    }

    DWORD TimeToWait() const {
        Clock::time_point next = m_ended ? Clock::time_point::max() : m_deadline;
        for (const RedirectConnection& each : m_connections) next = std::min(next, each.Deadline());
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(next - Clock::now()).count();
        // One millisecond more, because the last fraction of one would be a busy loop.
        return static_cast<DWORD>(std::clamp<long long>(left + 1, 0, kLookInterval));
    }

    void AcceptAll() {
        for (std::size_t turn = 0; turn < kMostConnections; ++turn) {
            OwnedSocket client(accept(m_listener.Get(), nullptr, nullptr));
            if (!client) return;
            if (m_connections.size() == kMostConnections) m_connections.pop_front();
            m_connections.emplace_back(std::move(client), m_news.Get());
        }
    }

    std::string ReplyTo(std::string_view head) {
        const std::optional<RedirectRequest> request = ParseRedirectRequest(head);
        // Another name in the Host header means a page from elsewhere whose own name was made to lead here.
        if (!request || request->host != "127.0.0.1:" + m_port) return PageReply("400 Bad Request", "Bad request.");
        if (request->method != "GET") return PageReply("405 Method Not Allowed", "Only GET is answered here.");
        if (request->path == "/done" && m_ended) return PageReply("200 OK", m_lastPage);
        if (request->path != "/signed-in") return PageReply("404 Not Found", "There is no such page.");
        const std::optional<std::string> state = QueryValue(request->query, "state");
        if (m_ended || !state || !SameSecret(*state, m_state)) return PageReply("410 Gone", kExpiredText);
        Take(request->query);
        // Away from the address with the token, which the browser would keep in its history.
        return RedirectReply("/done");
    }

    void Take(std::string_view query) {
        const std::optional<std::string> token = QueryValue(query, "token");
        const std::optional<std::string> error = QueryValue(query, "error");
        if (error == "cancelled" && !token) {
            End(Outcome::kCancelled);
        } else if (token && IsToken(*token) && !error) {
            m_token = *token;
            End(Outcome::kToken);
        } else {
            End(Outcome::kFailed);
        }
    }

    void End(Outcome outcome) {
        m_ended = true;
        m_unreported = outcome;
        switch (outcome) {
            case Outcome::kToken: m_lastPage = "You are signed in. You can close this page."; break;
            case Outcome::kCancelled: m_lastPage = "The sign-in was cancelled. You can close this page."; break;
            case Outcome::kExpired: m_lastPage = kExpiredText; break;
            case Outcome::kFailed: m_lastPage = "The sign-in failed. Start again in the application."; break;
        }
    }

    Winsock m_winsock;
    Event m_stop;
    Event m_news;
    OwnedSocket m_listener = ListenOnLoopback(m_news.Get());
    std::string m_port = PortOf(m_listener);
    std::string m_state = RandomText();
    Report m_report;
    Clock::time_point m_deadline;
    std::list<RedirectConnection> m_connections;
    bool m_ended = false;
    std::string m_lastPage;
    std::string m_token;
    std::optional<Outcome> m_unreported;
    std::thread m_thread;  // last: it uses all the others
};

BrowserLogin::BrowserLogin(Report report, std::chrono::milliseconds timeLimit)
    : m_listener(std::make_unique<Listener>(std::move(report), timeLimit)) {}

BrowserLogin::~BrowserLogin() = default;

std::string BrowserLogin::AddressToOpen(const std::string& signInAddress) const {
    const char separator = signInAddress.find('?') == std::string::npos ? '?' : '&';
    return signInAddress + separator + m_listener->Parameters();
}

bool BrowserLogin::OpenInBrowser(const std::string& address) {
    if (address.rfind("https://", 0) != 0 && address.rfind("http://", 0) != 0) return false;
    const auto size = static_cast<int>(address.size());
    std::wstring wide(address.size(), L'\0');
    wide.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, address.data(), size, wide.data(), size)));
    // Not really an HINSTANCE: a value above 32 means success.
    return reinterpret_cast<INT_PTR>(ShellExecuteW(nullptr, L"open", wide.c_str(), nullptr, nullptr, SW_SHOWNORMAL)) >
           32;
}

}  // namespace sample

/* Waits on this machine for what the sign-in page sends the browser back with. Part of <qsn/client/interactive.hpp>. */
#pragma once

#include <qsn/client/loopback_connection.hpp>
#include <qsn/client/loopback_port.hpp>
#include <qsn/client/loopback_request.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace qsn {

/* What the browser shows once the user has been on the sign-in page: plain text, UTF-8. */
struct InteractivePages {
    std::string language = "en";
    std::string title = "Sign-in";
    std::string signedIn = "You are signed in. You can close this page.";
    std::string cancelled = "The sign-in was cancelled. You can close this page.";
    std::string failed = "The sign-in failed. Start again in the application.";
    std::string expired = "This sign-in has expired. Start again in the application.";
};

namespace detail {

/*
 * Listens on 127.0.0.1. Only an answer that carries this sign-in's own one-time state counts. Whatever else a browser
 * or another program sends there changes nothing. It has no thread: it works in the system's pool, when there is news.
 */
class LoopbackListener : public std::enable_shared_from_this<LoopbackListener> {
public:
    enum class Outcome {
        kToken,
        kCancelled,  // by the user, on the page
        kExpired,    // no answer came in time
        kUnusable    // the page's answer is not one
    };
    // Called at most once, in the pool, when the listener has closed: the browser has had its last page, or did not
    // fetch it in time. Must not throw. `token` is empty for every outcome but kToken.
    using Report = std::function<void(Outcome outcome, const std::string& token)>;

    static constexpr std::size_t kLongestToken = 63;  // the library takes no longer ones

    // Throws std::system_error if the network or random numbers are not available.
    explicit LoopbackListener(InteractivePages pages) : m_pages(std::move(pages)) {}
    LoopbackListener(const LoopbackListener&) = delete;
    LoopbackListener& operator=(const LoopbackListener&) = delete;

    // `signInAddress`: what the library gives as the sign-in page.
    std::string AddressToOpen(const std::string& signInAddress) const {
        const char separator = signInAddress.find('?') == std::string::npos ? '?' : '&';
        return signInAddress + separator + "redirect_port=" + m_port + "&state=" + m_state;
    }

    void Start(std::chrono::milliseconds timeLimit, Report report) {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_report = std::move(report);
        m_deadline = Clock::now() + timeLimit;
        if (m_closed) return;
        m_self = shared_from_this();
        m_wait.CallOnce(TimeToWait());
    }

    // Closes at once and waits for no client; no report begins afterwards. Any thread, and inside the report, too.
    void Stop() noexcept {
        std::shared_ptr<LoopbackListener> self;
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            self = Close();
        }
        if (m_reportThread != GetCurrentThreadId()) m_wait.WaitForCall();
    }

private:
    using Clock = LoopbackConnection::Clock;

    // The browser itself needs few. Beyond this number the oldest is closed, so nobody can keep the browser out by
    // connecting and sending nothing.
    static constexpr std::size_t kMostConnections = 32;
    // How long a browser has to fetch the last page.
    static constexpr std::chrono::seconds kTimeForLastPage{2};
    // Wine sometimes loses a socket's event: without a regular look at the sockets, the browser would wait for ever.
    static constexpr long long kLookInterval = 250;  // ms

    static void CALLBACK HearNews(PTP_CALLBACK_INSTANCE, void* context, PTP_WAIT, TP_WAIT_RESULT) {
        static_cast<LoopbackListener*>(context)->LookAtSockets();
    }

    void LookAtSockets() {
        std::shared_ptr<LoopbackListener> self;
        Report report;
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            if (m_closed) return;
            // Before looking at the sockets, so that anything that comes meanwhile sets it again.
            ResetEvent(m_wait.Event());
            if (!m_outcome && Clock::now() >= m_deadline) m_outcome = Outcome::kExpired;
            AcceptAll();
            m_connections.remove_if([this](LoopbackConnection& each) {
                return !each.Advance([this](std::string_view head) { return ReplyTo(head); });
            });
            if (!IsOver()) return m_wait.CallOnce(TimeToWait());
            report = std::move(m_report);
            m_reportThread = GetCurrentThreadId();
            self = Close();
        }
        if (report) report(*m_outcome, m_token);
    }

    bool IsOver() const {
        if (!m_outcome) return false;
        if (Clock::now() >= m_deadline) return true;
        return m_lastPageSent && std::none_of(m_connections.begin(), m_connections.end(),
                                              [](const LoopbackConnection& each) { return each.OwesReply(); });
    }

    std::chrono::milliseconds TimeToWait() const {
        Clock::time_point next = m_deadline;
        for (const LoopbackConnection& each : m_connections) next = (std::min)(next, each.Deadline());
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(next - Clock::now()).count();
        // One millisecond more, because the last fraction of one would be a busy loop.
        return std::chrono::milliseconds(std::clamp<long long>(left + 1, 0, kLookInterval));
    }

    void AcceptAll() {
        for (std::size_t turn = 0; turn < kMostConnections; ++turn) {
            OwnedSocket client(accept(m_listener.Get(), nullptr, nullptr));
            if (!client) return;
            if (m_connections.size() == kMostConnections) m_connections.pop_front();
            m_connections.emplace_back(std::move(client), m_wait.Event());
        }
    }

    std::string ReplyTo(std::string_view head) {
        const std::optional<LoopbackRequest> request = ParseLoopbackRequest(head);
        // Another name in the Host header means a page from elsewhere whose own name was made to lead here.
        if (!request || request->host != "127.0.0.1:" + m_port) return PageReply("400 Bad Request", "Bad request.");
        if (request->method != "GET") return PageReply("405 Method Not Allowed", "Only GET is answered here.");
        if (request->path == "/done" && m_outcome) return LastPage();
        if (request->path != "/signed-in") return PageReply("404 Not Found", "There is no such page.");
        const std::optional<std::string> state = QueryValue(request->query, "state");
        if (m_outcome || !state || !SameSecret(*state, m_state)) return Page("410 Gone", m_pages.expired);
        Take(request->query);
        // Away from the address with the token, which the browser would keep in its history.
        return RedirectReply("/done");
    }

    void Take(std::string_view query) {
        const std::optional<std::string> token = QueryValue(query, "token");
        const std::optional<std::string> error = QueryValue(query, "error");
        m_outcome = Outcome::kUnusable;
        if (error == "cancelled" && !token) m_outcome = Outcome::kCancelled;
        if (token && IsToken(*token) && !error) {
            m_token = *token;
            m_outcome = Outcome::kToken;
        }
        m_deadline = Clock::now() + kTimeForLastPage;
    }

    static bool IsToken(std::string_view text) {
        return !text.empty() && text.size() <= kLongestToken &&
               std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < '\x7f'; });
    }

    std::string LastPage() {
        m_lastPageSent = true;
        switch (*m_outcome) {
            case Outcome::kToken: return Page("200 OK", m_pages.signedIn);
            case Outcome::kCancelled: return Page("200 OK", m_pages.cancelled);
            case Outcome::kExpired: return Page("200 OK", m_pages.expired);
            default: return Page("200 OK", m_pages.failed);
        }
    }

    std::string Page(std::string_view status, std::string_view sentence) const {
        return PageReply(status, sentence, m_pages.language, m_pages.title);
    }

    std::shared_ptr<LoopbackListener> Close() noexcept {
        m_closed = true;
        m_wait.CallNoMore();
        m_connections.clear();
        m_listener = OwnedSocket(INVALID_SOCKET);
        return std::move(m_self);
    }

    const InteractivePages m_pages;
    Winsock m_winsock;
    PoolWait m_wait{&HearNews, this};
    const std::string m_state = RandomText();
    std::atomic<DWORD> m_reportThread{0};  // which must not wait for itself

    std::mutex m_lock;  // guards the members below
    OwnedSocket m_listener = ListenOnLoopback(m_wait.Event());
    const std::string m_port = PortOf(m_listener);
    std::list<LoopbackConnection> m_connections;
    Clock::time_point m_deadline;  // of the answer, then of the last page
    std::optional<Outcome> m_outcome;
    std::string m_token;
    bool m_lastPageSent = false;
    Report m_report;
    bool m_closed = false;
    std::shared_ptr<LoopbackListener> m_self;  // while the pool may call
};

}  // namespace detail
}  // namespace qsn

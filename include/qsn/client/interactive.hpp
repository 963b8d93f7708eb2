/*
 * Signing in on a page in the user's browser, with a client of <qsn/client.hpp>:
 *
 *     qsn::SignInInteractive(client, {}, [](qsn::Result<qsn::SignInState> state) { ... });
 *     qsn::SignInState state = co_await qsn::SignInInteractive(client);
 *
 * The page sends the browser back to a port of 127.0.0.1, which is open for that long only, with the access token.
 * Needs bcrypt, ole32, shell32 and ws2_32 to link with, which CMake's QSN::qsn brings along.
 */
#pragma once

// Ahead of the client, because the order of Windows' headers for sockets matters.
#include <qsn/client/loopback_listener.hpp>

#include <qsn/client.hpp>

#include <shellapi.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <utility>

namespace qsn {

/*
 * Opens an http or https address, UTF-8, in the user's browser. Errors: std::errc::invalid_argument for anything else,
 * because the shell might run it; Windows' own (std::system_category) on a machine without a browser.
 */
inline Result<void> OpenInBrowser(const std::string& address) {
    if (address.rfind("https://", 0) != 0 && address.rfind("http://", 0) != 0)
        return std::make_error_code(std::errc::invalid_argument);
    const std::wstring wide = ToWide(address);
    SHELLEXECUTEINFOW call = {};
    call.cbSize = sizeof(call);
    call.fMask = SEE_MASK_NOASYNC | SEE_MASK_FLAG_NO_UI;  // from any thread, and without a message box
    call.lpVerb = L"open";
    call.lpFile = wide.c_str();
    call.nShow = SW_SHOWNORMAL;
    // Some browsers are started through COM.
    const HRESULT com = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
    const DWORD error = ShellExecuteExW(&call) ? ERROR_SUCCESS : GetLastError();
    if (SUCCEEDED(com)) CoUninitialize();
    return std::error_code(static_cast<int>(error), std::system_category());
}

struct InteractiveOptions {
    /*
     * Shows the page with this address to the user; empty: OpenInBrowser. Called where handlers run. An error ends the
     * sign-in with it.
     */
    std::function<Result<void>(const std::string& address)> open;
    InteractivePages pages;
    TimeLimit timeLimit = std::chrono::minutes(5);  // for the user to be done on the page
};

namespace detail {

struct ClientAccess {
    static const std::shared_ptr<Session>& SessionOf(const Client& client) { return client.m_session; }
};

// One sign-in from asking for the page's address to the session that holds the token.
class InteractiveSignIn final : public Cancellable, public std::enable_shared_from_this<InteractiveSignIn> {
public:
    InteractiveSignIn(std::shared_ptr<Session> session, InteractiveOptions options, Completion<SignInState> deliver)
        : m_session(std::move(session)), m_options(std::move(options)), m_deliver(std::move(deliver)) {}

    void Start() {
        const auto self = shared_from_this();
        if (!m_session->Attach(self)) return m_deliver(ErrorOf(QSN_RETURN_E_NOT_INITIALIZED));
        m_session->Start<std::string>({QSN_REQUEST_GET_SIGNIN_URL, &ReadText}, m_options.timeLimit, m_asking,
                                      [self](const Result<std::string>& address) {
                                          address ? self->Listen(*address) : self->Finish(address.Error());
                                      });
    }

    void Cancel() noexcept override {
        m_asking->Cancel();
        m_signingIn->Cancel();
        GiveUp(Error(std::errc::operation_canceled), true);
    }

private:
    static std::error_code Error(std::errc code) noexcept { return std::make_error_code(code); }

    void Listen(const std::string& signInAddress) {
        try {
            const auto self = shared_from_this();
            const auto listener = std::make_shared<LoopbackListener>(m_options.pages);
            if (!Keep(listener)) return Finish(Error(std::errc::operation_canceled));
            listener->Start(m_options.timeLimit, [self](LoopbackListener::Outcome outcome, const std::string& token) {
                self->TakeAnswer(outcome, token);
            });
            const std::string address = listener->AddressToOpen(signInAddress);
            if (!m_options.open) return Check(OpenInBrowser(address));
            Host::Run(m_session->TheHost(), [self, address] { self->Open(address); });
        } catch (const std::system_error& failure) {
            Finish(failure.code());
        }
    }

    void Open(const std::string& address) {
        Result<void> opened = Error(std::errc::operation_canceled);
        m_session->TheHost()->Guard([&] { opened = m_options.open(address); });
        Check(opened);
    }
    void Check(const Result<void>& opened) {
        if (!opened) GiveUp(opened.Error(), false);
    }

    // In the thread pool.
    void TakeAnswer(LoopbackListener::Outcome outcome, const std::string& token) {
        if (!TakeListener(false)) return;
        switch (outcome) {
            case LoopbackListener::Outcome::kToken: return SignIn(token);
            case LoopbackListener::Outcome::kCancelled: return FinishAsOthers(Error(std::errc::operation_canceled));
            case LoopbackListener::Outcome::kExpired: return FinishAsOthers(Error(std::errc::timed_out));
            default: return FinishAsOthers(ErrorOf(QSN_CALLBACK_REPLY_INCOMPLETE));
        }
    }

    void SignIn(const std::string& token) {
        m_session->Start<SignInState>(
            {QSN_REQUEST_SIGNIN, &ReadSignIn, 0, &token}, TimeLimit(0), m_signingIn,
            [self = shared_from_this()](Result<SignInState> state) { self->Finish(std::move(state)); });
    }

    void GiveUp(const std::error_code& error, bool cancelled) noexcept {
        const std::shared_ptr<LoopbackListener> listener = TakeListener(cancelled);
        if (!listener) return;
        listener->Stop();
        FinishAsOthers(error);
    }

    // False if it was cancelled before.
    bool Keep(const std::shared_ptr<LoopbackListener>& listener) {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (!m_cancelled) m_listener = listener;
        return !m_cancelled;
    }
    // Who has it decides how the sign-in goes on.
    std::shared_ptr<LoopbackListener> TakeListener(bool cancelled) noexcept {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_cancelled = m_cancelled || cancelled;
        return std::exchange(m_listener, nullptr);
    }

    // With a request that is over at once, because its end comes on the same thread as that of any other.
    void FinishAsOthers(const std::error_code& error) {
        const auto ticket = std::make_shared<Ticket>(1);
        m_session->Start<std::string>(
            {QSN_REQUEST_GET_SIGNIN_URL, &ReadText}, TimeLimit(0), ticket,
            [self = shared_from_this(), error](const Result<std::string>&) { self->Finish(error); });
        ticket->Cancel();
    }

    void Finish(Result<SignInState> state) {
        m_session->Detach(shared_from_this());
        std::exchange(m_deliver, nullptr)(std::move(state));
    }

    const std::shared_ptr<Session> m_session;
    const InteractiveOptions m_options;
    Completion<SignInState> m_deliver;
    const std::shared_ptr<Ticket> m_asking = std::make_shared<Ticket>(1);
    const std::shared_ptr<Ticket> m_signingIn = std::make_shared<Ticket>(1);

    std::mutex m_lock;  // guards the members below
    std::shared_ptr<LoopbackListener> m_listener;
    bool m_cancelled = false;
};

inline Request StartInteractive(std::shared_ptr<Session> session, InteractiveOptions options,
                                Completion<SignInState> deliver) {
    if (!session) return deliver(ErrorOf(QSN_RETURN_E_NOT_INITIALIZED)), Request();
    const auto signIn = std::make_shared<InteractiveSignIn>(std::move(session), std::move(options), std::move(deliver));
    signIn->Start();
    return Request(signIn);
}
inline std::shared_ptr<Host> HostOf(const std::shared_ptr<Session>& session) {
    return session ? session->TheHost() : std::make_shared<Host>();
}

}  // namespace detail

/*
 * Lets the user sign in on a page of the account service, and signs the client in with the token that comes of it. The
 * listener is closed, and the browser has its last page, when the outcome is reported. Cancelling, or closing the
 * client, closes it at once, too; neither waits for a browser. No thread is started: Windows' thread pool does the
 * work. Errors: std::errc::operation_canceled by Cancel, or by the user on the page; std::errc::timed_out;
 * QSN_CALLBACK_REPLY_INCOMPLETE if the page's answer cannot be used; Windows' own (std::system_category) if there can
 * be no listener; those of `open`.
 */
inline Request SignInInteractive(Client& client, InteractiveOptions options, const Completion<SignInState>& done) {
    const auto session = detail::ClientAccess::SessionOf(client);
    return detail::StartInteractive(session, std::move(options), detail::Telling(detail::HostOf(session), done));
}
inline Operation<SignInState> SignInInteractive(Client& client, InteractiveOptions options) {
    const auto session = detail::ClientAccess::SessionOf(client);
    const auto outcome = std::make_shared<detail::Outcome<SignInState>>(detail::HostOf(session));
    return {outcome, detail::StartInteractive(session, std::move(options), detail::Keeping(outcome))};
}
/* No default argument: GCC 12 destroys twice what the operand of a co_await makes for an argument like this one. */
inline Operation<SignInState> SignInInteractive(Client& client) {
    return SignInInteractive(client, InteractiveOptions());
}

}  // namespace qsn

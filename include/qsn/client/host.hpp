/* What calls the host. Part of <qsn/client.hpp>. */
#pragma once

#include <qsn/client/options.hpp>

#include <atomic>
#include <cstdio>

namespace qsn::detail {

// The host's side of a session. An executor that holds a call may outlive the client.
struct Host {
    explicit Host(Options given = {}) : options(std::move(given)) {}

    // Runs something of the host's, and lets nothing out that it throws.
    template <class Call>
    void Guard(const Call& call) const noexcept {
        try {
            call();
        } catch (const std::exception& failure) {
            Failed(failure.what());
        } catch (...) {
            Failed("no std::exception");
        }
    }
    // The same inside a call from the library, whose worker waits for it to return.
    template <class Call>
    void GuardInside(const Call& call) const noexcept {
        const DWORD before = insideOn.exchange(GetCurrentThreadId());
        Guard(call);
        insideOn = before;
    }
    bool IsInside() const noexcept { return insideOn == GetCurrentThreadId(); }

    // Runs `call` where handlers run.
    static void Run(const std::shared_ptr<const Host>& host, std::function<void()> call) noexcept {
        if (!host->options.executor) return host->Guard(call);
        host->Guard([&] { host->options.executor([host, call = std::move(call)] { host->Guard(call); }); });
    }

    const Options options;
    std::atomic<bool> isClosed{false};  // notifications do not come any more
    mutable std::atomic<DWORD> insideOn{0};

private:
    static void Print(const char* text) noexcept {
        char line[256];
        std::snprintf(line, sizeof(line), "[QSN] a handler has thrown: %s\n", text);
        OutputDebugStringA(line);
    }
    // Inside a catch block.
    void Failed(const char* text) const noexcept {
        Print(text);
        try {
            if (options.notifications.handlerFailed) options.notifications.handlerFailed(std::current_exception());
        } catch (...) {
            Print("handlerFailed did, too");
        }
    }
};

// Passes on what the library reports without being asked.
class Notifier final : public ComObject<IQSNCallbackFunc> {
public:
    explicit Notifier(std::shared_ptr<const Host> host) : ComObject(IID_IQSNCallbackFunc), m_host(std::move(host)) {}

    HRESULT STDMETHODCALLTYPE Callback(int32_t action, int32_t result, void* data) override {
        m_host->GuardInside([&] {
            if (auto call = Find(action, result, data))
                Host::Run(m_host, [host = m_host, call] { host->isClosed ? void() : call(); });
        });
        return S_OK;
    }

private:
    std::function<void()> Find(int action, int result, void* data) const {
        const Notifications& to = m_host->options.notifications;
        const std::error_code error = ErrorOf(static_cast<QSN_CALLBACK_RESULT>(result));
        const auto text = [&] { return std::string(data ? static_cast<const char*>(data) : ""); };
        switch (action == QSN_ACTION_NOTIFY ? -result : action) {
            case QSN_ACTION_SSO_SIGNIN_RESULT: return Bind(to.signedInElsewhere, ReadSignIn(error, data));
            case QSN_ACTION_SSO_SIGNOUT_RESULT: return Bind(to.signedOutElsewhere, Result<void>(error));
            case QSN_ACTION_CHECK_TOKEN_ROUTINE_RESULT: return Bind(to.tokenChecked, Result<void>(error));
            case -QSN_NOTIFY_SERVICE_MESSAGE: return Bind(to.serviceMessage, text());
            case -QSN_NOTIFY_MEMBER_TOKEN_SET: return Bind(to.memberTokenSet, text());
            case -QSN_NOTIFY_REFRESH_TOKEN_SET: return Bind(to.refreshTokenSet, text());
            case -QSN_NOTIFY_MEMBER_TOKEN_CLEAR: return to.memberTokenCleared;
            case -QSN_NOTIFY_REFRESH_TOKEN_CLEAR: return to.refreshTokenCleared;
            default: return nullptr;
        }
    }
    template <class Handler, class Argument>
    static std::function<void()> Bind(const Handler& handler, Argument argument) {
        if (!handler) return nullptr;
        return [handler, argument = std::move(argument)] { handler(argument); };
    }

    const std::shared_ptr<const Host> m_host;
};

class Logger final : public ComObject<IQSNLog> {
public:
    explicit Logger(std::shared_ptr<const Host> host) : ComObject(IID_IQSNLog), m_host(std::move(host)) {}

    HRESULT STDMETHODCALLTYPE Write(const QSN_LOG_RECORD* record) override {
        m_host->Guard([&] { m_host->options.log(*record); });
        return S_OK;
    }

private:
    const std::shared_ptr<const Host> m_host;
};

}  // namespace qsn::detail

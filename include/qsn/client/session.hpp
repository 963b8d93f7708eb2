/* The thread behind a client, and what a host hears from it. Part of <qsn/client.hpp>. */
#ifndef QSN_CLIENT_SESSION_HPP
#define QSN_CLIENT_SESSION_HPP

#include <qsn/qsn.h>
#include <qsn/client/records.hpp>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace qsn {

/* Runs each function that it is given once, where and when the host likes, in the order in which they came. */
using Executor = std::function<void(std::function<void()>)>;

/* What a client reports without being asked. Any of them may be empty. Called one at a time, as completions are. */
struct Notifications {
    std::function<void(const std::string& message)> serviceMessage;  // for the user to read
    /* From other applications of the suite, once EnableSingleSignOn(true) has been called. */
    std::function<void(Result<SignInState>)> signedInElsewhere;  // and this client with them
    std::function<void(Result<void>)> signedOutElsewhere;        // and this client with them
    std::function<void(const std::string& token)> memberTokenSet;
    std::function<void()> memberTokenCleared;
    std::function<void(const std::string& token)> refreshTokenSet;
    std::function<void()> refreshTokenCleared;
    /* The outcome of each check that EnableTokenCheck(true) leads to. */
    std::function<void(Result<void>)> tokenChecked;
    /* A completion, a notification or the executor threw this; the client goes on. May be called on any thread. */
    std::function<void(std::exception_ptr)> handlerFailed;
};

namespace detail {

// What calls to the host need. An executor that holds a call may outlive the client.
struct Host {
    Notifications notifications;
    Executor executor;
    std::atomic<bool> closed{false};

    template <class Call>
    void Guard(Call& call) const noexcept {
        try {
            call();
        } catch (...) {
            try {
                if (notifications.handlerFailed) notifications.handlerFailed(std::current_exception());
            } catch (...) {
                return;  // there is nobody left to tell
            }
        }
    }
};

inline void Tell(const std::shared_ptr<const Host>& host, std::function<void()> call) noexcept {
    const auto hand = [&] {
        if (!host->executor) return call();
        host->executor([host, call = std::move(call)] { host->Guard(call); });
    };
    host->Guard(hand);
}

inline std::error_code Cancelled() { return std::make_error_code(std::errc::operation_canceled); }
inline std::error_code Deadlock() { return std::make_error_code(std::errc::resource_deadlock_would_occur); }
inline std::error_code Invalid() { return std::make_error_code(std::errc::invalid_argument); }

// Where the outcome of a request goes.
template <class T>
struct Sink {
    Completion<T> done;
    bool direct = false;  // past the executor
};

// How a request is made, and what its callback brings.
template <class T>
struct Request {
    int action;
    std::function<HRESULT(IPVSubscription2&)> call;
    Result<T> (*read)(int code, void* data);
    std::error_code refused = {};  // why it must not be made at all
};

/*
 * One thread that makes the host's requests one after the other, each when the one before has ended, and reports their
 * outcomes to the host. So the library's own queue never holds anything that Stop or Uninit could drop in silence. Each
 * callback can belong to only one request, and none of the host's code runs on the library's thread.
 */
class Session final : public IQSNCallbackFunc {
public:
    Session(Library library, ComPtr<IPVSubscription2> qsn, std::shared_ptr<Host> host)
        : m_library(std::make_unique<Library>(std::move(library))), m_qsn(std::move(qsn)), m_host(std::move(host)) {}

    static std::error_code Start(const std::shared_ptr<Session>& session, const std::wstring& productSid) {
        const HRESULT hr = session->m_qsn->Init(productSid.c_str(), session.get());
        if (FAILED(hr)) return ErrorOf(hr);
        try {
            session->m_thread = std::thread([session] { session->Run(); });
        } catch (const std::system_error& failure) {
            session->m_qsn->Uninit();
            return failure.code();
        }
        return {};
    }

    bool OnOwnThread() const noexcept { return m_threadId == GetCurrentThreadId(); }

    // False if the session is ending. `job` runs once on the session's thread, and is told whether it was cancelled.
    bool Post(std::function<void(bool cancelled)> job) {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (m_ending) return false;
        m_requests.push_back({std::move(job), false});
        m_wake.notify_one();
        return true;
    }

    template <class T>
    void Make(Request<T> request, Sink<T> sink) {
        // Shared, so that it still exists whatever goes wrong on the way.
        const auto shared = std::make_shared<Sink<T>>(std::move(sink));
        const bool taken = Post([this, request = std::move(request), shared](bool cancelled) {
            if (!cancelled && !request.refused) return Run(request, shared);
            Answer<T>(m_host, *shared, cancelled ? Cancelled() : request.refused);
        });
        if (!taken) Answer<T>(m_host, *shared, ErrorOf(QSN_RETURN_E_NOT_INITIALIZED));
    }

    // Runs `call(qsn)` on the session's thread after everything requested before, and waits for it.
    template <class T, class Call>
    Result<T> Wait(Call call) {
        if (OnOwnThread()) return Deadlock();
        const auto task = std::make_shared<std::packaged_task<Result<T>(bool)>>(
            [this, call](bool cancelled) mutable { return cancelled ? Result<T>(Cancelled()) : call(*m_qsn); });
        std::future<Result<T>> result = task->get_future();
        if (!Post([task](bool cancelled) { (*task)(cancelled); })) return ErrorOf(QSN_RETURN_E_NOT_INITIALIZED);
        return result.get();
    }

    void CancelQueued() {
        const std::lock_guard<std::mutex> lock(m_lock);
        for (Work& each : m_requests) each.cancelled = true;
    }

    // On any thread but the session's own, returns when everything has been reported and the library is freed.
    void End() noexcept {
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_ending = true;
            for (Work& each : m_requests) each.cancelled = true;
            m_wake.notify_one();
        }
        m_host->closed = true;
        const std::lock_guard<std::mutex> lock(m_joinLock);
        if (!m_thread.joinable()) return;
        // The thread owns the session, so it can finish even if nobody waits for it.
        OnOwnThread() ? m_thread.detach() : m_thread.join();
    }

    template <class T>
    static void Answer(const std::shared_ptr<const Host>& host, Sink<T>& sink, Result<T> result) {
        if (!sink.done) return;
        auto call = [done = std::move(sink.done), result = std::move(result)] { done(result); };
        sink.direct ? host->Guard(call) : Tell(host, std::move(call));
    }

    HRESULT STDMETHODCALLTYPE Callback(int32_t action, int32_t result, void* data) override {
        try {
            const std::lock_guard<std::mutex> lock(m_lock);
            if (m_receive && action == m_action) {
                m_receive(result, data);
                m_receive = nullptr;
            } else if (auto call = Notification(action, result, data)) {
                PushEvent(
                    [host = m_host, call](bool) { Tell(host, [host, call] { host->closed ? void() : call(); }); });
            }
            m_wake.notify_one();
        } catch (...) {
            return E_OUTOFMEMORY;  // a request still ends, once it is seen to have no answer
        }
        return S_OK;
    }
    // Outlives the library object, so it does not count references.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        const bool known = IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IQSNCallbackFunc);
        *object = known ? this : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

private:
    struct Work {
        std::function<void(bool cancelled)> run;
        bool cancelled = false;
    };

    void Run() noexcept {
        m_threadId = GetCurrentThreadId();
        for (Work work; Next(work); work = {}) {
            const auto run = [&] { work.run(work.cancelled); };
            m_host->Guard(run);
        }
        m_threadId = 0;  // the system may give the number to another thread
        m_qsn->Uninit();
        m_qsn = {};
        m_library.reset();
    }

    // What came from the library goes first, so that a request's end is reported before the next one is made. False at
    // the end of the session.
    bool Next(Work& work) {
        std::unique_lock<std::mutex> lock(m_lock);
        m_wake.wait(lock, [this] { return m_ending || !m_events.empty() || !m_requests.empty(); });
        std::deque<Work>& queue = m_events.empty() ? m_requests : m_events;
        if (queue.empty()) return false;
        work = std::move(queue.front());
        queue.pop_front();
        return true;
    }

    void PushEvent(std::function<void(bool)> event) { m_events.push_back({std::move(event), false}); }

    template <class T>
    void Run(const Request<T>& request, const std::shared_ptr<Sink<T>>& sink) {
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_action = request.action;
            m_receive = [&](int code, void* data) {
                Result<T> result = request.read(code, data);
                PushEvent([this, sink, result = std::move(result)](bool) { Answer<T>(m_host, *sink, result); });
            };
        }
        const HRESULT hr = request.call(*m_qsn);
        while (IsAwaited() && !HasPassed()) Sleep(10);
        const std::lock_guard<std::mutex> lock(m_lock);
        if (!std::exchange(m_receive, nullptr)) return;
        const std::error_code error = ErrorOf(FAILED(hr) ? hr : E_FAIL);
        PushEvent([this, sink, error](bool) { Answer<T>(m_host, *sink, error); });
    }

    bool IsAwaited() {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_receive != nullptr;
    }

    // Whether the library's worker has finished everything it was given. No address fits the buffer, so the call waits
    // for the worker and changes nothing. The library gives up after two minutes; this does not.
    bool HasPassed() {
        char tooSmall = 0;
        uint32_t length = 0;
        const HRESULT hr = m_qsn->GetSignInURL(&tooSmall, 1, &length);
        return hr != QSN_RETURN_E_TIMEOUT && hr != E_OUTOFMEMORY;
    }

    std::function<void()> Notification(int action, int result, void* data) const {
        const Notifications& to = m_host->notifications;
        const auto code = static_cast<QSN_CALLBACK_RESULT>(result);
        switch (action) {
            case QSN_ACTION_SSO_SIGNIN_RESULT: return Bind(to.signedInElsewhere, ReadSignIn(result, data));
            case QSN_ACTION_SSO_SIGNOUT_RESULT: return Bind(to.signedOutElsewhere, Result<void>(ErrorOf(code)));
            case QSN_ACTION_CHECK_TOKEN_ROUTINE_RESULT: return Bind(to.tokenChecked, Result<void>(ErrorOf(code)));
            case QSN_ACTION_NOTIFY: break;
            default: return nullptr;
        }
        const std::string text = data ? static_cast<const char*>(data) : "";
        switch (result) {
            case QSN_NOTIFY_SERVICE_MESSAGE: return Bind(to.serviceMessage, text);
            case QSN_NOTIFY_MEMBER_TOKEN_SET: return Bind(to.memberTokenSet, text);
            case QSN_NOTIFY_REFRESH_TOKEN_SET: return Bind(to.refreshTokenSet, text);
            case QSN_NOTIFY_MEMBER_TOKEN_CLEAR: return to.memberTokenCleared;
            case QSN_NOTIFY_REFRESH_TOKEN_CLEAR: return to.refreshTokenCleared;
            default: return nullptr;
        }
    }

    template <class Handler, class Argument>
    static std::function<void()> Bind(const Handler& handler, Argument argument) {
        if (!handler) return nullptr;
        return [handler, argument = std::move(argument)] { handler(argument); };
    }

    std::unique_ptr<Library> m_library;  // freed by the session's thread, as the library object is
    ComPtr<IPVSubscription2> m_qsn;      // used by the session's thread only
    const std::shared_ptr<Host> m_host;
    std::atomic<DWORD> m_threadId{0};

    std::mutex m_lock;  // guards the members below; none of the host's code is called under it
    std::condition_variable m_wake;
    std::deque<Work> m_requests;
    std::deque<Work> m_events;                  // to tell the host
    std::function<void(int, void*)> m_receive;  // takes the answer to the running request
    int m_action = 0;                           // of that request
    bool m_ending = false;

    std::mutex m_joinLock;  // guards m_thread once it runs
    std::thread m_thread;
};

}  // namespace detail
}  // namespace qsn

#endif /* QSN_CLIENT_SESSION_HPP */

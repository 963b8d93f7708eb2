/* A library object with a session, and its requests. Part of <qsn/client.hpp>. */
#pragma once

#include <qsn/client/operation.hpp>

#include <set>
#include <vector>

namespace qsn::detail {

struct ClientAccess;  // for what belongs to a client and is made outside it

inline std::error_code Cancelled() { return std::make_error_code(std::errc::operation_canceled); }
inline std::error_code Invalid() { return std::make_error_code(std::errc::invalid_argument); }

template <class Text>
bool HasZero(const Text& text) {
    return text.find(typename Text::value_type()) != Text::npos;
}

// What to ask the library for, and how to read what comes.
template <class T>
struct Ask {
    std::uint32_t kind;
    Result<T> (*read)(const std::error_code& error, void* data);
    std::int32_t item = 0;
    const std::string* text = nullptr;
    std::uint32_t value = 0;
};

// Where outcomes go: to a completion, and to who waits.
template <class T>
Completion<T> Telling(const std::shared_ptr<const Host>& host, const Completion<T>& done) {
    return [host, done](Result<T> result) {
        if (!done) return;
        if (!host->options.executor) return host->Guard([&] { done(std::move(result)); });
        // Executors want what can be copied, and not every result can.
        const auto shared = std::make_shared<Result<T>>(std::move(result));
        Host::Run(host, [done, shared] { done(std::move(*shared)); });
    };
}
template <class T>
Completion<T> Keeping(const std::shared_ptr<Outcome<T>>& outcome) {
    return [outcome](Result<T> result) { outcome->Set(std::move(result)); };
}

// Cancels the requests that make up an operation. It lets go of them when all have ended, because the DLL may be freed
// from then on.
class Ticket final : public Cancellable {
public:
    explicit Ticket(std::size_t requests) : m_left(requests) { m_requests.reserve(requests); }

    void Add(std::shared_ptr<IQSNRequest> request) {
        const std::lock_guard<std::recursive_mutex> lock(m_lock);
        if (m_left == 0) return;
        if (m_cancelled) request->Cancel();
        m_requests.push_back(std::move(request));
    }
    void Ended() {
        const std::lock_guard<std::recursive_mutex> lock(m_lock);
        if (--m_left == 0) m_requests.clear();
    }
    void Cancel() noexcept override {
        const std::lock_guard<std::recursive_mutex> lock(m_lock);
        m_cancelled = true;
        // NOLINTNEXTLINE(modernize-loop-convert): they may be let go of on the way.
        for (std::size_t index = 0; index < m_requests.size(); ++index) {
            const std::shared_ptr<IQSNRequest> each = m_requests[index];
            each->Cancel();
        }
    }

private:
    std::recursive_mutex m_lock;  // a library of the host's own may complete a request inside Cancel
    std::vector<std::shared_ptr<IQSNRequest>> m_requests;
    std::size_t m_left;
    bool m_cancelled = false;
};

class Session final : public std::enable_shared_from_this<Session> {
public:
    explicit Session(std::shared_ptr<Host> host) noexcept : m_host(std::move(host)) {}

    const std::shared_ptr<Host>& TheHost() const noexcept { return m_host; }

    // Once, before everything else.
    std::error_code Begin(const Library& library) {
        const Options& options = m_host->options;
        if (options.productSid.empty() || HasZero(options.productSid) || HasZero(options.logFolder)) return Invalid();
        Result<std::shared_ptr<IPVSubscription2>> object = library.Create();
        if (!object) return object.Error();
        const auto loaded = std::make_shared<Loaded>(Loaded{library, std::move(object).Value(), {}});
        void* requests = nullptr;
        HRESULT hr = loaded->qsn->QueryInterface(IID_IQSNRequests, &requests);
        if (FAILED(hr)) return ErrorOf(hr);
        loaded->requests = Owned(static_cast<IQSNRequests*>(requests));
        std::wstring folder = options.logFolder;
        if (!folder.empty()) hr = loaded->qsn->Config(QSNCFG_SET_LOG_FOLDER, &folder[0], nullptr);
        if (SUCCEEDED(hr) && options.log)
            hr = loaded->requests->SetLog(Owned(new Logger(m_host)).get(), options.logLevel);
        if (SUCCEEDED(hr)) hr = loaded->qsn->Init(options.productSid.c_str(), Owned(new Notifier(m_host)).get());
        if (SUCCEEDED(hr)) m_loaded = loaded;
        return ErrorOf(hr);
    }

    // Calls `deliver` once: on the worker thread, or on this one if the request cannot be made.
    template <class T>
    void Start(const Ask<T>& ask, TimeLimit limit, const std::shared_ptr<Ticket>& ticket, Completion<T> deliver) {
        const auto call = Owned(new Call<T>(shared_from_this(), ticket, ask, std::move(deliver)));
        // Declared before what comes from the DLL, which another thread may be about to free.
        const std::shared_ptr<const Loaded> loaded = Enter(ticket);
        if (!loaded) return call->End(ErrorOf(QSN_RETURN_E_NOT_INITIALIZED));
        if (ask.text && HasZero(*ask.text)) return call->End(Invalid());
        const auto milliseconds = limit.count() == 0 ? 0 : std::clamp<std::int64_t>(limit.count(), 1, 0xFFFFFFFF);
        const char* const text = ask.text ? ask.text->c_str() : nullptr;
        const QSN_REQUEST request = {
            sizeof(QSN_REQUEST), ask.kind, static_cast<std::uint32_t>(milliseconds), ask.item, text, ask.value, 0};
        IQSNRequest* started = nullptr;
        const HRESULT hr = loaded->requests->Start(&request, call.get(), &started);
        FAILED(hr) ? call->End(ErrorOf(hr)) : ticket->Add(Owned(started));
    }

    void CancelQueued() {
        if (const auto loaded = Enter(nullptr)) loaded->qsn->Stop();
    }

    // What is no request of the library ends with the session: it is cancelled before the requests are. False if the
    // session is ending already.
    bool Attach(const std::shared_ptr<Cancellable>& guest) {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (m_loaded && !m_isEnding) m_guests.insert(guest);
        return m_loaded && !m_isEnding;
    }
    void Detach(const std::shared_ptr<Cancellable>& guest) noexcept {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_guests.erase(guest);
    }

    // Returns when everything has been told and the library is freed; inside a handler, the latter happens later.
    void End(TimeLimit limit) noexcept {
        std::unique_lock<std::mutex> lock(m_lock);
        m_isEnding = true;
        const auto guests = std::exchange(m_guests, {});
        lock.unlock();
        for (const auto& each : guests) each->Cancel();
        lock.lock();
        std::shared_ptr<const Loaded> loaded = std::exchange(m_loaded, nullptr);
        const bool isInside = m_host->IsInside();
        if (!loaded) return isInside ? void() : m_changed.wait(lock, [this] { return m_isGone; });
        lock.unlock();
        m_host->isClosed = true;
        loaded->qsn->Stop();
        if (!isInside) m_host->Guard([&] { GiveTime(limit); });
        loaded->qsn->Uninit();
        loaded.reset();
        lock.lock();
        m_isGone = true;
        m_changed.notify_all();
    }

private:
    struct Loaded {
        Library library;  // freed last
        std::shared_ptr<IPVSubscription2> qsn;
        std::shared_ptr<IQSNRequests> requests;
    };

    // Takes the end of one request.
    template <class T>
    class Call final : public ComObject<IQSNCompletion> {
    public:
        Call(std::shared_ptr<Session> session, std::shared_ptr<Ticket> ticket, const Ask<T>& ask, Completion<T> deliver)
            : ComObject(IID_IQSNCompletion),
              m_session(std::move(session)),
              m_ticket(std::move(ticket)),
              m_read(ask.read),
              m_deliver(std::move(deliver)) {}

        HRESULT STDMETHODCALLTYPE Completed(IQSNRequest*, const QSN_OUTCOME* outcome, void* data) override {
            m_session->m_host->GuardInside([&] { End(Read(ErrorOf(*outcome), data)); });
            return S_OK;
        }
        void End(Result<T> result) noexcept {
            m_session->m_host->Guard([&] { std::exchange(m_deliver, nullptr)(std::move(result)); });
            m_ticket->Ended();
            m_session->Leave(m_ticket);
        }

    private:
        Result<T> Read(const std::error_code& error, void* data) const noexcept {
            try {
                return m_read(error, data);
            } catch (...) {
                return std::make_error_code(std::errc::not_enough_memory);
            }
        }

        const std::shared_ptr<Session> m_session;
        const std::shared_ptr<Ticket> m_ticket;
        Result<T> (*const m_read)(const std::error_code&, void*);
        Completion<T> m_deliver;
    };

    // Null if the session is ending. Who holds the library may call it.
    std::shared_ptr<const Loaded> Enter(const std::shared_ptr<Ticket>& ticket) {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (ticket) m_underWay.insert(ticket);
        return m_loaded;
    }
    void Leave(const std::shared_ptr<Ticket>& ticket) {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_underWay.erase(m_underWay.find(ticket));
        m_changed.notify_all();
    }
    // Of `limit`, what goes beyond the second that Uninit itself gives what is running.
    void GiveTime(TimeLimit limit) {
        constexpr TimeLimit kOfUninit = std::chrono::seconds(1);
        std::unique_lock<std::mutex> lock(m_lock);
        const TimeLimit wait = limit < kOfUninit ? limit : (std::min)(limit, kLongestWait) - kOfUninit;
        if (m_changed.wait_for(lock, wait, [this] { return m_underWay.empty(); }) || limit >= kOfUninit) return;
        const std::vector<std::shared_ptr<Ticket>> left(m_underWay.begin(), m_underWay.end());
        lock.unlock();
        for (const auto& each : left) each->Cancel();
    }

    const std::shared_ptr<Host> m_host;
    std::mutex m_lock;  // guards the members below; neither the library nor the host is called under it
    std::condition_variable m_changed;
    std::shared_ptr<const Loaded> m_loaded;
    std::multiset<std::shared_ptr<Ticket>> m_underWay;
    std::set<std::shared_ptr<Cancellable>> m_guests;
    bool m_isEnding = false;
    bool m_isGone = false;
};

}  // namespace qsn::detail

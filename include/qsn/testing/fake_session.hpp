/* The library object of a fake library. Part of <qsn/testing.hpp>. */
#pragma once

#include <qsn/testing/fake_answer.hpp>
#include <qsn/testing/fake_records.hpp>

#include <algorithm>
#include <deque>
#include <map>
#include <mutex>

namespace qsn::detail {

class FakeSession;

inline constexpr TimeLimit kAtNoTime = (TimeLimit::max)();

// What the sessions of one fake library have in common.
struct FakeService {
    std::mutex lock;  // guards everything but `account`; the host is not called under it
    FakeAccount account;
    TimeLimit now{0};
    std::map<std::uint32_t, std::deque<FakeAnswer>> next;  // by kind
    std::map<std::uint32_t, FakeAnswer> always;
    std::vector<FakeCall> calls;
    std::vector<FakeSession*> sessions;
    std::uint32_t lastNumber = 0;

    FakeAnswer TakeAnswer(std::uint32_t kind) {
        std::deque<FakeAnswer>& once = next[kind];
        if (once.empty()) return always[kind];
        const FakeAnswer answer = once.front();
        once.pop_front();
        return answer;
    }
};

// A request from Start to its completion. All that changes is guarded by the service's lock.
class FakeRequest final : public ComObject<IQSNRequest> {
public:
    FakeRequest(std::shared_ptr<FakeSession> session, std::shared_ptr<FakeService> service, const QSN_REQUEST& request,
                std::shared_ptr<IQSNCompletion> completion)
        : ComObject(IID_IQSNRequest),
          call{request.kind, request.item, request.text ? request.text : "", request.value,
               TimeLimit(request.timeLimit)},
          m_service(std::move(service)),
          m_session(std::move(session)),
          m_completion(std::move(completion)),
          m_number(++m_service->lastNumber),
          m_started(m_service->now) {}

    HRESULT STDMETHODCALLTYPE Cancel() override;
    HRESULT STDMETHODCALLTYPE GetOutcome(QSN_OUTCOME* to) override;
    std::uint32_t STDMETHODCALLTYPE GetNumber() override { return m_number; }

    void Begin() {
        m_service->calls.push_back(call);
        m_answer = m_service->TakeAnswer(call.kind);
        m_begun = m_service->now;
    }
    bool HasBegun() const { return m_begun.has_value(); }
    // When something happens to it by itself.
    TimeLimit Due() const { return m_begun ? *m_begun + m_answer.delay : kAtNoTime; }
    TimeLimit Deadline() const { return call.timeLimit.count() == 0 ? kAtNoTime : m_started + call.timeLimit; }
    bool IsToEnd(TimeLimit now) const { return isCancelled || Deadline() <= now; }

    // How it ends, if it does so now.
    QSN_OUTCOME OutcomeAt(TimeLimit now) const {
        QSN_OUTCOME ended = m_answer.outcome;
        if (IsToEnd(now)) {
            const HRESULT why = isCancelled ? QSN_REQUEST_E_CANCELLED : QSN_REQUEST_E_OUT_OF_TIME;
            ended = {sizeof(QSN_OUTCOME), QSN_CALLBACK_NETWORK_OR_UNKNOWN, why, QSN_NO_SERVER_RESULT, 0, 0, 0, 0, 0};
            ended.canRetry = isCancelled ? 0 : 1;
        }
        ended.queuedTime = static_cast<std::uint32_t>((m_begun.value_or(now) - m_started).count());
        ended.wireTime = static_cast<std::uint32_t>((now - m_begun.value_or(now)).count());
        return ended;
    }
    // Tells the host, without the lock. The outcome has been set.
    void Tell(void* data) {
        if (m_completion) m_completion->Completed(this, &*outcome, data);
        m_completion = nullptr;
        std::unique_lock<std::mutex> lock(m_service->lock);
        const auto session = std::exchange(m_session, nullptr);
        lock.unlock();
    }

    const FakeCall call;
    bool isCancelled = false;
    std::optional<QSN_OUTCOME> outcome;

private:
    const std::shared_ptr<FakeService> m_service;
    std::shared_ptr<FakeSession> m_session;  // until it has been told
    std::shared_ptr<IQSNCompletion> m_completion;
    const std::uint32_t m_number;
    const TimeLimit m_started;
    std::optional<TimeLimit> m_begun;
    FakeAnswer m_answer;
};

// A request or something to report, in the order in which the worker thread would get to it.
struct FakeTask {
    std::shared_ptr<FakeRequest> request;
    std::function<void()> report;  // if there is no request
};

// Whether the session has no token any more after this result.
constexpr bool EndsSignIn(std::int32_t result) {
    return result == QSN_CALLBACK_SERVER_RESULT_1 || result == QSN_CALLBACK_NOT_SIGNED_IN ||
           result == QSN_CALLBACK_SERVER_RESULT_101 || result == QSN_CALLBACK_SERVER_RESULT_107;
}

class FakeSession final : public IPVSubscription2, public IQSNRequests {
public:
    explicit FakeSession(std::shared_ptr<FakeService> service) : m_service(std::move(service)) {
        const std::lock_guard<std::mutex> lock(m_service->lock);
        m_service->sessions.push_back(this);
    }
    FakeSession(const FakeSession&) = delete;
    FakeSession& operator=(const FakeSession&) = delete;
    virtual ~FakeSession() {
        const std::lock_guard<std::mutex> lock(m_service->lock);
        auto& all = m_service->sessions;
        all.erase(std::find(all.begin(), all.end(), this));
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (IsEqualIID(iid, IID_IQSNRequests)) *object = static_cast<IQSNRequests*>(this);
        if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IPVSubscription))
            *object = static_cast<IPVSubscription2*>(this);
        if (*object) AddRef();
        return *object ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --m_references;
        if (left == 0) delete this;
        return left;
    }

    HRESULT STDMETHODCALLTYPE Init(const wchar_t* productSid, IQSNCallbackFunc* callback) override {
        if (!productSid || !callback) return E_POINTER;
        const std::lock_guard<std::mutex> lock(m_service->lock);
        if (m_callback) return QSN_RETURN_E_ALREADY_INITIALIZED;
        callback->AddRef();
        m_callback = Owned(callback);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Uninit() override {
        std::unique_lock<std::mutex> lock(m_service->lock);
        const auto callback = std::exchange(m_callback, nullptr);
        if (!callback) return QSN_RETURN_E_NOT_INITIALIZED;
        m_tasks.erase(
            std::remove_if(m_tasks.begin(), m_tasks.end(), [](const FakeTask& each) { return !each.request; }),
            m_tasks.end());
        CancelFrom(0);
        Work(lock);
        m_token.clear();
        m_sharesSignIn = false;
        lock.unlock();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Stop() override {
        std::unique_lock<std::mutex> lock(m_service->lock);
        if (!m_callback) return QSN_RETURN_E_NOT_INITIALIZED;
        CancelFrom(!m_tasks.empty() && m_tasks.front().request && m_tasks.front().request->HasBegun() ? 1 : 0);
        lock.unlock();
        Run();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Start(const QSN_REQUEST* request, IQSNCompletion* completion,
                                    IQSNRequest** started) override {
        if (!request) return E_POINTER;
        if (request->size < sizeof(QSN_REQUEST) || !IsSensible(*request)) return E_INVALIDARG;
        if (completion) completion->AddRef();
        auto told = Owned(completion);
        std::unique_lock<std::mutex> lock(m_service->lock);
        if (!m_callback) return QSN_RETURN_E_NOT_INITIALIZED;
        AddRef();
        const auto made = Owned(new FakeRequest(Owned(this), m_service, *request, std::move(told)));
        m_tasks.push_back({made, nullptr});
        lock.unlock();
        if (started) made->AddRef();
        if (started) *started = made.get();
        Run();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetLog(IQSNLog*, std::uint32_t) override { return S_OK; }

    // Reports an event of the session as soon as the worker thread would. `token` becomes the session's, if not null.
    void Report(std::int32_t action, std::int32_t result, const std::string* text, const std::string* token) {
        std::unique_lock<std::mutex> lock(m_service->lock);
        if (!m_callback) return;
        const bool isOfOthers = action == QSN_ACTION_SSO_SIGNIN_RESULT || action == QSN_ACTION_SSO_SIGNOUT_RESULT;
        if (isOfOthers && !m_sharesSignIn) return;
        const auto tell = [action, result, callback = m_callback, copy = text ? *text : "", hasText = text != nullptr] {
            std::string data = copy;
            callback->Callback(action, result, hasText ? &data[0] : nullptr);
        };
        m_tasks.push_back({nullptr, tell});
        if (token) m_token = *token;
        lock.unlock();
        Run();
    }
    // Does what can be done without time going on. Inside a call to the host, the outer one goes on with it.
    void Run() {
        AddRef();
        const auto self = Owned(this);
        std::unique_lock<std::mutex> lock(m_service->lock);
        if (std::exchange(m_isWorking, true)) return;
        Work(lock);
        m_isWorking = false;
    }
    // When something happens by itself; with the lock.
    TimeLimit NextEvent() const {
        TimeLimit next = kAtNoTime;
        for (const FakeTask& each : m_tasks)
            if (each.request) next = (std::min)({next, each.request->Due(), each.request->Deadline()});
        return next;
    }

    HRESULT STDMETHODCALLTYPE Config(std::int32_t id, void*, std::uint32_t*) override {
        return id == QSNCFG_SET_LOG_FOLDER ? S_OK : E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetAccessToken(char*, std::uint32_t, std::uint32_t*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSignInURL(char*, std::uint32_t, std::uint32_t*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SignIn(const char*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SignOut() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetUserInfo() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetProductList() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetProductListV2() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved6() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved8() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved9() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved12() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved18() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved19() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved20() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved21() override { return E_NOTIMPL; }

private:
    // What a completion brings.
    struct Brought {
        std::string text;
        std::shared_ptr<IUnknown> object;
        QSN_GI_QUOTA quota = {};
        void* data = nullptr;

        void Bring(std::string value) {
            text = std::move(value);
            data = &text[0];
        }
        template <class Object>
        void Bring(const std::shared_ptr<Object>& value) {
            object = value;
            data = value.get();
        }
    };

    static bool IsSensible(const QSN_REQUEST& request) {
        if (request.kind == QSN_REQUEST_SIGNIN)
            return !request.text || (*request.text && std::string(request.text).size() < 64);
        if (request.kind != QSN_REQUEST_CONFIG) return request.kind >= 1 && request.kind < QSN_REQUEST_CONFIG;
        if (request.item == QSNCFG_SET_LANGUAGE || request.item == QSNCFG_SET_EXTEND_DATA) return request.text;
        return request.item >= QSNCFG_SET_PLATFORM_INFO && request.item <= QSNCFG_GET_REFRESH_TOKEN &&
               request.item != QSNCFG_GI_QUERY && request.item != QSNCFG_GI_LOG;
    }

    void CancelFrom(std::size_t first) {
        for (std::size_t index = first; index < m_tasks.size(); ++index)
            if (m_tasks[index].request) m_tasks[index].request->isCancelled = true;
    }
    void Work(std::unique_lock<std::mutex>& lock) {
        while (const auto step = NextStep()) {
            lock.unlock();
            step();
            lock.lock();
        }
    }
    std::function<void()> NextStep() {
        const TimeLimit now = m_service->now;
        auto next = std::find_if(m_tasks.begin(), m_tasks.end(),
                                 [&](const FakeTask& each) { return each.request && each.request->IsToEnd(now); });
        if (next == m_tasks.end()) {
            next = m_tasks.begin();
            if (next == m_tasks.end()) return nullptr;
            if (next->request && !next->request->HasBegun()) next->request->Begin();
            if (next->request && next->request->Due() > now) return nullptr;
        }
        const FakeTask task = *next;
        m_tasks.erase(next);
        if (!task.request) return task.report;
        const auto brought = std::make_shared<Brought>();
        QSN_OUTCOME outcome = task.request->OutcomeAt(now);
        // A sign-out that is broken off ends the sign-in here all the same.
        if (!task.request->IsToEnd(now))
            CarryOut(task.request->call, outcome, *brought);
        else if (task.request->HasBegun() && task.request->call.kind == QSN_REQUEST_SIGNOUT)
            EndSignIn();
        task.request->outcome = outcome;
        return [task, brought] { task.request->Tell(brought->data); };
    }

    // What the session and the service do about a request that ends with `outcome`.
    void CarryOut(const FakeCall& call, QSN_OUTCOME& outcome, Brought& brought) {
        FakeAccount& account = m_service->account;
        const bool isForUser = call.kind <= QSN_REQUEST_GI_LOG || call.kind == QSN_REQUEST_GET_ACCESS_TOKEN;
        if (isForUser && m_token.empty()) return SayNotSignedIn(outcome);
        if (call.kind == QSN_REQUEST_SIGNOUT) return EndSignIn();
        if (outcome.callbackResult != QSN_CALLBACK_OK) {
            if (EndsSignIn(outcome.callbackResult) && call.kind <= QSN_REQUEST_GET_PRODUCTLIST_V2) m_token.clear();
            return;
        }
        switch (call.kind) {
            case QSN_REQUEST_GET_USERINFO: return brought.Bring(Owned(new FakeUser(account.user)));
            case QSN_REQUEST_GET_PRODUCTLIST: return brought.Bring(FakeProducts(account.products));
            case QSN_REQUEST_GET_PRODUCTLIST_V2: return brought.Bring(FakeProducts(account.productsV2));
            case QSN_REQUEST_GI_QUERY:
                brought.quota = FakeQuota(account.quota);
                brought.data = &brought.quota;
                return;
            case QSN_REQUEST_SIGNIN: return TakeToken(call.text, outcome, brought);
            case QSN_REQUEST_GET_SIGNIN_URL: return brought.Bring(account.signInAddress);
            case QSN_REQUEST_GET_ACCESS_TOKEN: return brought.Bring(m_token);
            case QSN_REQUEST_CONFIG: return Configure(call, brought);
            default: return;
        }
    }
    void TakeToken(const std::string& given, QSN_OUTCOME& outcome, Brought& brought) {
        FakeAccount& account = m_service->account;
        if (!given.empty() && m_sharesSignIn) account.sharedToken = given;
        if (!given.empty() || m_sharesSignIn) m_token = given.empty() ? account.sharedToken : given;
        if (!m_token.empty()) return;
        SayNotSignedIn(outcome);
        brought.Bring(account.signInAddress);
    }
    void EndSignIn() {
        m_token.clear();
        FakeAccount& account = m_service->account;
        account.sharedToken = account.memberToken = account.refreshToken = "";
    }
    void Configure(const FakeCall& call, Brought& brought) {
        FakeAccount& account = m_service->account;
        switch (call.item) {
            case QSNCFG_ENABLE_SINGLE_SIGNON: m_sharesSignIn = call.value != 0; return;
            case QSNCFG_SET_MEMBER_TOKEN: account.memberToken = call.text; return;
            case QSNCFG_SET_REFRESH_TOKEN: account.refreshToken = call.text; return;
            case QSNCFG_GET_MEMBER_TOKEN: return brought.Bring(account.memberToken);
            case QSNCFG_GET_REFRESH_TOKEN: return brought.Bring(account.refreshToken);
            default: return;
        }
    }
    static void SayNotSignedIn(QSN_OUTCOME& outcome) {
        outcome.callbackResult = QSN_CALLBACK_NOT_SIGNED_IN;
        outcome.result = QSN_RETURN_E_NO_TOKEN;
        outcome.serverResult = QSN_NO_SERVER_RESULT;
        outcome.httpStatus = outcome.systemError = outcome.canRetry = 0;
    }

    const std::shared_ptr<FakeService> m_service;
    std::atomic<ULONG> m_references{1};
    std::shared_ptr<IQSNCallbackFunc> m_callback;  // null: not initialised
    std::deque<FakeTask> m_tasks;
    bool m_isWorking = false;
    bool m_sharesSignIn = false;
    std::string m_token;
};

inline HRESULT STDMETHODCALLTYPE FakeRequest::Cancel() {
    std::unique_lock<std::mutex> lock(m_service->lock);
    if (outcome || isCancelled) return S_FALSE;
    isCancelled = true;
    const auto session = m_session;
    lock.unlock();
    session->Run();
    return S_OK;
}

inline HRESULT STDMETHODCALLTYPE FakeRequest::GetOutcome(QSN_OUTCOME* to) {
    if (!to) return E_POINTER;
    if (to->size < sizeof(to->size)) return E_INVALIDARG;
    const std::lock_guard<std::mutex> lock(m_service->lock);
    if (!outcome) return E_PENDING;
    std::memcpy(to, &*outcome, (std::min)(to->size, outcome->size));
    return S_OK;
}

}  // namespace qsn::detail

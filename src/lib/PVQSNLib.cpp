#include "lib/PVQSNLib.h"

#include <mutex>
#include <string_view>
#include <utility>

#include "Utility/Guard.h"
#include "Utility/Text.h"
#include "Utility/Trace.h"

namespace qsn {
namespace {

constexpr DWORD kTaskTimeout = 120000;  // ms

HRESULT CopyText(std::string_view text, char* buffer, uint32_t bufferLength, uint32_t* outLength) {
    if (text.size() >= bufferLength) return E_INVALIDARG;
    buffer[text.copy(buffer, text.size())] = '\0';
    *outLength = static_cast<uint32_t>(text.size());
    return S_OK;
}

}  // namespace

PVQSNLib::PVQSNLib() { ReadDumpSwitch(); }

// Ended as a whole before any member goes, because a callback may be using them. As `Uninit` does it, without its trace
// lines.
PVQSNLib::~PVQSNLib() {
    RunningSession running;
    {
        const std::lock_guard lock(m_sourceLock);
        m_singleSignOn.Uninit();
        m_routineTimer.Uninit();
        running = TakeRunning();
    }
    running.End();
}

HRESULT STDMETHODCALLTYPE PVQSNLib::NonDelegatingQueryInterface(REFIID iid, void** ppv) {
    if (ppv && IsEqualIID(iid, IID_IQSNRequests)) {
        *ppv = static_cast<IQSNRequests*>(this);
        Outer()->AddRef();
        return S_OK;
    }
    if (!IsEqualIID(iid, IID_IPVSubscription)) return CPVUnknown::NonDelegatingQueryInterface(iid, ppv);
    if (!ppv) return E_INVALIDARG;  // not E_POINTER as elsewhere: hosts know it like this
    *ppv = static_cast<IPVSubscription2*>(this);
    AddRef();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE PVQSNLib::Init(const wchar_t* productSID, IQSNCallbackFunc* callback) {
    TraceW(L"QSN Init \n");
    if (!productSID || !callback) return E_POINTER;
    // Only one of two threads that call at the same time may start.
    if (Worker() || m_starting.test_and_set()) return QSN_RETURN_E_ALREADY_INITIALIZED;
    const HRESULT hr = Guarded([&] { return StartSession(productSID, callback); });
    m_starting.clear();
    return hr;
}

HRESULT PVQSNLib::StartSession(const wchar_t* productSID, IQSNCallbackFunc* callback) {
    if (Worker()) return QSN_RETURN_E_ALREADY_INITIALIZED;
    RunningSession running;
    running.book = std::make_shared<RequestBook>(m_log);
    running.context = std::make_shared<QSNThreadContext>(running.book);
    running.context->SetUsageLogFolder(LogFolder());
    // The line number is part of the text that the support staff look for, it does not follow this file.
    const HRESULT hr = HandOn(running.context->Init(WideToUtf8(productSID).c_str(), callback), "PVQSNLib",
                              "m_spQSNThreadCtx->Init(productSID, pIQSNCallbackFuncth)", 98);
    if (FAILED(hr)) return hr;
    running.worker = std::make_shared<QSNWorkerThread>();
    running.worker->SetThreadContext(running.context);
    running.book->SetWake([worker = std::weak_ptr(running.worker)] {
        if (const auto alive = worker.lock()) alive->Wake();
    });
    m_routineTimer.Init(this);
    running.context->SetRoutineTimer(&m_routineTimer);
    if (!running.worker->Start()) {
        m_routineTimer.Uninit();
        return E_OUTOFMEMORY;
    }
    const std::lock_guard lock(m_runningLock);
    m_running = std::move(running);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE PVQSNLib::Uninit() {
    TraceW(L"Uninit\n");
    return Guarded([&]() -> HRESULT {
        RunningSession running = EndSources();
        return running.End();
    });
}

RunningSession PVQSNLib::EndSources() {
    const std::lock_guard lock(m_sourceLock);
    if (!Worker()) return {};
    m_singleSignOn.UninitIfStarted();
    m_singleSignOnEnabled = false;  // without a watcher it would be half on
    m_routineTimer.Uninit();
    Stop();
    return TakeRunning();
}

HRESULT STDMETHODCALLTYPE PVQSNLib::Stop() {
    TraceW(L"Stop!!\n");
    const std::shared_ptr<QSNWorkerThread> worker = Worker();
    if (!worker) return QSN_RETURN_E_NOT_INITIALIZED;
    return Guarded([&] {
        worker->Stop();
        return S_OK;
    });
}

HRESULT STDMETHODCALLTYPE PVQSNLib::GetAccessToken(char* buffer, uint32_t bufferLength, uint32_t* outLength) {
    TraceW(L"Get access token\n");
    if (!buffer || !outLength) return E_POINTER;
    return Guarded([&]() -> HRESULT {
        const std::shared_ptr<QSNWorkerThread> worker = Worker();
        if (!worker) return QSN_RETURN_E_NOT_INITIALIZED;
        *outLength = 0;
        const auto task = std::make_shared<GetAccTokenTask>();
        const HRESULT result = RunAndWait(*worker, task).value_or(QSN_RETURN_E_TIMEOUT);
        if (FAILED(result)) return result;
        return CopyText(task->Text().Text(), buffer, bufferLength, outLength);
    });
}

HRESULT STDMETHODCALLTYPE PVQSNLib::GetSignInURL(char* buffer, uint32_t bufferLength, uint32_t* outLength) {
    if (!buffer || !outLength) return E_POINTER;
    return Guarded([&]() -> HRESULT {
        const std::shared_ptr<QSNWorkerThread> worker = Worker();
        if (!worker) return QSN_RETURN_E_NOT_INITIALIZED;
        const auto task = std::make_shared<GetSignInURLTask>();
        if (!RunAndWait(*worker, task)) return QSN_RETURN_E_TIMEOUT;
        return CopyText(task->Text().Text(), buffer, bufferLength, outLength);
    });
}

HRESULT STDMETHODCALLTYPE PVQSNLib::SignIn(const char* token) {
    TraceW(L"Sign in\n");
    return Guarded([&]() -> HRESULT {
        if (!Worker()) return QSN_RETURN_E_NOT_INITIALIZED;
        const Outcome<Candidate> candidate = FindToken(token);
        if (FAILED(candidate.result)) return candidate.result;
        // Posted without a token too: the callback then tells the host where to sign in.
        const HRESULT posted = Post<SignInTask>(candidate.value.token.Text(), Origin::kHost);
        if (FAILED(posted)) return posted;
        if (candidate.value.token.IsEmpty()) return QSN_RETURN_E_NO_TOKEN;
        Share(candidate.value);
        return S_OK;
    });
}

Outcome<PVQSNLib::Candidate> PVQSNLib::FindToken(const char* token) {
    if (token || !m_singleSignOnEnabled) return {S_OK, {SecretText(token ? token : ""), false}};
    TraceW(L"Sign in: try single signOn\n");
    StoreReading<SecretText> shared = m_singleSignOn.GetSingleSignOnToken();
    if (FAILED(shared.result)) return {shared.result};
    const bool isShared = shared.result == S_OK;
    if (isShared) TraceA("Sign in: GET from single signOn token: %s\n", shared.value.Text().c_str());
    return {S_OK, {std::move(shared.value), isShared}};
}

void PVQSNLib::Share(const Candidate& candidate) {
    if (!m_singleSignOnEnabled || candidate.isShared || candidate.token.IsEmpty()) return;
    TraceA("Sign in: SET single signOn token: %s\n", candidate.token.Text().c_str());
    m_singleSignOn.SetSingleSignOnToken(candidate.token.Text());
}

HRESULT STDMETHODCALLTYPE PVQSNLib::SignOut() {
    TraceW(L"Sign out\n");
    return Guarded([&]() -> HRESULT {
        if (!Worker()) return QSN_RETURN_E_NOT_INITIALIZED;
        TokenStore::Tokens tokens = ReadTokens();
        if (FAILED(tokens.result)) return tokens.result;
        const HRESULT posted = Post<SignOutTask>(Origin::kHost, std::move(tokens.member), std::move(tokens.refresh));
        if (SUCCEEDED(posted)) ClearTokens();
        return posted;
    });
}

TokenStore::Tokens PVQSNLib::ReadTokens() {
    StoreReading<std::string> member = m_singleSignOn.GetMemberToken();
    StoreReading<SecretText> refresh = m_singleSignOn.GetRefreshToken();
    // What the service would not be told of must not go.
    if (FAILED(member.result)) return {member.result};
    if (FAILED(refresh.result)) return {refresh.result};
    TraceA("Sign out: memtoken:%s\n", member.value.c_str());
    return {S_OK, std::move(member.value), std::move(refresh.value)};
}

void PVQSNLib::ClearTokens() {
    if (m_singleSignOnEnabled) m_singleSignOn.SetSingleSignOnToken({});
    m_singleSignOn.SetMemberToken({});
    m_singleSignOn.SetRefreshToken({});
}

HRESULT STDMETHODCALLTYPE PVQSNLib::GetUserInfo() {
    TraceW(L"Get User Info\n");
    return Post<GetUserInfoTask>();
}

HRESULT STDMETHODCALLTYPE PVQSNLib::GetProductList() {
    TraceW(L"Get Product List\n");
    return Post<GetProductListTask<ListVersion::kFirst>>();
}

HRESULT STDMETHODCALLTYPE PVQSNLib::GetProductListV2() {
    TraceW(L"Get Product List V2\n");
    return Post<GetProductListTask<ListVersion::kSecond>>();
}

HRESULT PVQSNLib::RoutineTimerCallbackEvent(std::uint32_t event, void* /*data*/) {
    TraceA("RoutineTimerCallbackEvent, ID = %d\n", static_cast<int>(event));
    if (event != kRoutineEventCheckToken) return S_OK;
    TraceA("RoutineTimerCallbackEvent, ROUTINE_EVENT_CHECK_TOKEN \n");
    return Guarded([&] { return PostTokenCheck(); });
}

HRESULT PVQSNLib::PostTokenCheck() {
    const std::shared_ptr<QSNWorkerThread> worker = Worker();
    if (!worker) return QSN_RETURN_E_NOT_INITIALIZED;
    // One of an earlier session, whose worker is not done with it yet, is none of this session's.
    if (m_tokenChecker == worker.get() && !m_tokenCheck.expired()) return S_OK;
    const auto check = std::make_shared<CheckTokenValidTask>(m_singleSignOnEnabled.load());
    m_tokenCheck = check;
    m_tokenChecker = worker.get();
    worker->PostTask(check);
    return S_OK;
}

// Not by way of `Queue`: every call comes through here, and need not count another reference.
std::shared_ptr<QSNWorkerThread> PVQSNLib::Worker() const {
    const std::lock_guard lock(m_runningLock);
    return m_running.worker;
}

SessionQueue PVQSNLib::Queue() const {
    const std::lock_guard lock(m_runningLock);
    return {m_running.worker, m_running.book};
}

RunningSession PVQSNLib::TakeRunning() {
    const std::lock_guard lock(m_runningLock);
    return std::move(m_running);
}

std::wstring PVQSNLib::LogFolder() const {
    const std::lock_guard lock(m_runningLock);
    return m_strLogFolder;
}

std::optional<HRESULT> PVQSNLib::RunAndWait(QSNWorkerThread& worker, const std::shared_ptr<QSNTaskBase>& task) {
    // Inside the host's callback it would never run.
    if (worker.IsCurrentThread()) return {};
    worker.PostTask(task);
    if (!task->Wait(kTaskTimeout)) return {};
    return task->GetResult();
}

}  // namespace qsn

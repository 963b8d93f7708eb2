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

PVQSNLib::~PVQSNLib() = default;

HRESULT STDMETHODCALLTYPE PVQSNLib::NonDelegatingQueryInterface(REFIID iid, void** ppv) {
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
    const HRESULT hr = Guarded([&] { return Start(productSID, callback); });
    m_starting.clear();
    return hr;
}

HRESULT PVQSNLib::Start(const wchar_t* productSID, IQSNCallbackFunc* callback) {
    if (Worker()) return QSN_RETURN_E_ALREADY_INITIALIZED;
    Running running;
    running.context = std::make_shared<QSNThreadContext>();
    const HRESULT hr = running.context->Init(WideToUtf8(productSID).c_str(), callback);
    if (FAILED(hr)) {
        // The line number is part of the text that the support staff look for, it does not follow this file.
        TraceFailedAt(hr, "PVQSNLib", 98, "m_spQSNThreadCtx->Init(productSID, pIQSNCallbackFuncth)");
        return hr;
    }
    running.worker = std::make_shared<QSNWorkerThread>();
    running.worker->SetThreadContext(running.context);
    if (!running.worker->Start()) return E_OUTOFMEMORY;
    const std::lock_guard lock(m_runningLock);
    m_running = std::move(running);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE PVQSNLib::Uninit() {
    TraceW(L"Uninit\n");
    return Guarded([&]() -> HRESULT {
        if (!Worker()) return QSN_RETURN_E_NOT_INITIALIZED;
        Stop();
        const Running running = TakeRunning();
        if (!running.worker) return QSN_RETURN_E_NOT_INITIALIZED;
        // Not left to the destructor, because another thread may hold a reference for a moment longer.
        running.worker->Quit();
        return running.context->Uninit();
    });
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

HRESULT STDMETHODCALLTYPE PVQSNLib::Config(int32_t, void*, uint32_t*) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE PVQSNLib::GetAccessToken(char* buffer, uint32_t bufferLength, uint32_t* outLength) {
    TraceW(L"Get access token\n");
    if (!buffer || !outLength) return E_POINTER;
    return Guarded([&]() -> HRESULT {
        const std::shared_ptr<QSNWorkerThread> worker = Worker();
        if (!worker) return QSN_RETURN_E_NOT_INITIALIZED;
        *outLength = 0;
        const auto task = std::make_shared<GetAccTokenTask>();
        HRESULT result = S_OK;
        const HRESULT hr = RunAndWait(*worker, task, &result);
        if (FAILED(hr)) return hr;
        if (FAILED(result)) return result;
        std::string token;
        task->GetResultString(&token);
        return CopyText(token, buffer, bufferLength, outLength);
    });
}

HRESULT STDMETHODCALLTYPE PVQSNLib::GetSignInURL(char* buffer, uint32_t bufferLength, uint32_t* outLength) {
    if (!buffer || !outLength) return E_POINTER;
    return Guarded([&]() -> HRESULT {
        const std::shared_ptr<QSNWorkerThread> worker = Worker();
        if (!worker) return QSN_RETURN_E_NOT_INITIALIZED;
        const auto task = std::make_shared<GetSignInURLTask>();
        HRESULT ignored = S_OK;
        const HRESULT hr = RunAndWait(*worker, task, &ignored);
        if (FAILED(hr)) return hr;
        std::string url;
        task->GetResultString(&url);
        return CopyText(url, buffer, bufferLength, outLength);
    });
}

HRESULT STDMETHODCALLTYPE PVQSNLib::SignIn(const char* token) {
    TraceW(L"Sign in\n");
    return Guarded([&] {
        const std::string candidate = token ? token : "";
        const HRESULT posted = Post<SignInTask>(candidate, 0u);
        if (FAILED(posted)) return posted;
        // The task is posted without a token too: its callback tells the host where to sign in.
        return candidate.empty() ? QSN_RETURN_E_NO_TOKEN : S_OK;
    });
}

HRESULT STDMETHODCALLTYPE PVQSNLib::SignOut() { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE PVQSNLib::GetUserInfo() {
    TraceW(L"Get User Info\n");
    return Post<GetUserInfoTask>();
}

HRESULT STDMETHODCALLTYPE PVQSNLib::GetProductList() { return E_NOTIMPL; }
HRESULT STDMETHODCALLTYPE PVQSNLib::GetProductListV2() { return E_NOTIMPL; }

std::shared_ptr<QSNWorkerThread> PVQSNLib::Worker() const {
    const std::lock_guard lock(m_runningLock);
    return m_running.worker;
}

PVQSNLib::Running PVQSNLib::TakeRunning() {
    const std::lock_guard lock(m_runningLock);
    return std::move(m_running);
}

template <class Task, class... Arguments>
HRESULT PVQSNLib::Post(Arguments&&... arguments) {
    return Guarded([&]() -> HRESULT {
        const std::shared_ptr<QSNWorkerThread> worker = Worker();
        if (!worker) return QSN_RETURN_E_NOT_INITIALIZED;
        worker->PostTask(std::make_shared<Task>(std::forward<Arguments>(arguments)...));
        return S_OK;
    });
}

HRESULT PVQSNLib::RunAndWait(QSNWorkerThread& worker, const std::shared_ptr<QSNTaskBase>& task, HRESULT* taskResult) {
    worker.PostTask(task);
    if (!task->Wait(kTaskTimeout)) return QSN_RETURN_E_TIMEOUT;
    *taskResult = task->GetResult();
    return S_OK;
}

}  // namespace qsn

#include "Session.h"

#include <stdexcept>

#include "support/TestService.h"

namespace qsn::bench {

void CountingHost::Hold() {
    ResetEvent(m_mayGo.Get());
    m_held = true;
}

void CountingHost::LetGo() {
    m_held = false;
    SetEvent(m_mayGo.Get());
}

void CountingHost::Expect(int count) { m_missing = count; }

void CountingHost::WaitForCalls() {
    constexpr DWORD kLimit = 300000;  // ms
    if (WaitForSingleObject(m_done.Get(), kLimit) != WAIT_OBJECT_0) throw std::runtime_error("no callback came");
}

HRESULT STDMETHODCALLTYPE CountingHost::Callback(int32_t /*action*/, int32_t result, void* /*data*/) {
    m_lastResult = result;
    if (--m_missing == 0) SetEvent(m_done.Get());
    // A needless wait would be most of what a callback costs.
    if (m_held) WaitForSingleObject(m_mayGo.Get(), INFINITE);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CountingHost::QueryInterface(REFIID /*iid*/, void** object) {
    *object = nullptr;
    return E_NOINTERFACE;
}

Session::Session() : m_qsn(test::Create(m_library)) {
    if (m_qsn->Init(L"SID-BENCH", &m_callback) != S_OK) throw std::runtime_error("Init failed");
}

Session::~Session() {
    m_callback.LetGo();
    m_qsn->Uninit();
}

void Session::SignIn() {
    m_callback.Expect(1);
    m_qsn->SignIn(test::kToken);
    m_callback.WaitForCalls();
}

void Session::FetchUser() {
    m_callback.Expect(1);
    m_qsn->GetUserInfo();
    m_callback.WaitForCalls();
    if (m_callback.LastResult() != QSN_CALLBACK_OK) throw std::runtime_error("the service did not answer");
}

void Session::HoldWorker() {
    m_callback.Hold();
    m_callback.Expect(1);
    m_qsn->SignIn(nullptr);  // a callback without a request
    m_callback.WaitForCalls();
}

void Session::LetWorkerGo() {
    m_callback.LetGo();
    char url[1024];
    uint32_t length = 0;
    if (m_qsn->GetSignInURL(url, sizeof(url), &length) != S_OK) throw std::runtime_error("the worker does not go on");
}

}  // namespace qsn::bench

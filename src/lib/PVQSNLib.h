#pragma once

#include <qsn/qsn.h>

#include <atomic>
#include <memory>
#include <string>

#include "Utility/Win32Owners.h"
#include "engine/QSNThreadContext.h"
#include "objects/CPVUnknown.h"
#include "thread/QSNTask.h"

namespace qsn {

// The library object: a thin front that turns method calls into tasks of its worker thread. Methods work on a copy of
// the worker's reference, so that an `Uninit` on another thread never pulls it away under them.
class PVQSNLib final : public IPVSubscription2, public CPVUnknown {
public:
    PVQSNLib();
    ~PVQSNLib() override;

    QSN_DELEGATE_IUNKNOWN
    HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID iid, void** ppv) override;

    HRESULT STDMETHODCALLTYPE Init(const wchar_t* productSID, IQSNCallbackFunc* callback) override;
    HRESULT STDMETHODCALLTYPE Uninit() override;
    HRESULT STDMETHODCALLTYPE Config(int32_t id, void* data, uint32_t* length) override;
    HRESULT STDMETHODCALLTYPE Reserved6() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetAccessToken(char* buffer, uint32_t bufferLength, uint32_t* outLength) override;
    HRESULT STDMETHODCALLTYPE Reserved8() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved9() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSignInURL(char* buffer, uint32_t bufferLength, uint32_t* outLength) override;
    HRESULT STDMETHODCALLTYPE Stop() override;
    HRESULT STDMETHODCALLTYPE Reserved12() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SignIn(const char* token) override;
    HRESULT STDMETHODCALLTYPE SignOut() override;
    HRESULT STDMETHODCALLTYPE GetUserInfo() override;
    HRESULT STDMETHODCALLTYPE GetProductList() override;
    HRESULT STDMETHODCALLTYPE GetProductListV2() override;
    HRESULT STDMETHODCALLTYPE Reserved18() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved19() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved20() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved21() override { return E_NOTIMPL; }

private:
    struct Running {
        std::shared_ptr<QSNThreadContext> context;
        std::shared_ptr<QSNWorkerThread> worker;  // destroyed first: its last task may still be at work on the context
    };

    // Null while the object is not initialised.
    std::shared_ptr<QSNWorkerThread> Worker() const;
    Running TakeRunning();
    HRESULT Start(const wchar_t* productSID, IQSNCallbackFunc* callback);

    template <class Task, class... Arguments>
    HRESULT Post(Arguments&&... arguments);
    HRESULT RunAndWait(QSNWorkerThread& worker, const std::shared_ptr<QSNTaskBase>& task, HRESULT* taskResult);

    mutable CriticalSection m_runningLock;  // guards m_running; nothing is called under it
    Running m_running;
    std::atomic_flag m_starting;
};

}  // namespace qsn

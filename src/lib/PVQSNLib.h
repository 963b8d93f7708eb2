#pragma once

#include <qsn/qsn.h>

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Utility/Guard.h"
#include "Utility/SecretText.h"
#include "Utility/Win32Owners.h"
#include "engine/RoutineTimer.h"
#include "lib/RunningSession.h"
#include "objects/CPVUnknown.h"
#include "sso/CheckSingleSignOn.h"
#include "sso/SSOCallback.h"
#include "tasks/QSNTask.h"

namespace qsn {

// The library object: a thin front that turns method calls into tasks of its worker thread. Methods work on a copy of
// the worker's reference, so that an `Uninit` on another thread never pulls it away under them.
//
// Lock order: source lock, the store's locks, then those that are held for a moment only (running lock, worker's
// queue). The threads that call back take no lock before the store's, and nobody waits for the worker thread under a
// lock: so the host may call what it likes inside its callback, and what waits for the worker fails there at once.
class PVQSNLib final : public IPVSubscription2,
                       public CPVUnknown,
                       public SSOCallback,
                       public RoutineTimerCallback,
                       public IQSNRequests {
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

    HRESULT STDMETHODCALLTYPE Start(const QSN_REQUEST* request, IQSNCompletion* completion,
                                    IQSNRequest** started) override;
    HRESULT STDMETHODCALLTYPE SetLog(IQSNLog* log, uint32_t level) override;

    // On the store's watcher thread: only reads and clears tokens, and posts work.
    HRESULT SSOCallbackEvent(int id, const char* data) override;
    // On the routine timer's thread: only posts work.
    HRESULT RoutineTimerCallbackEvent(std::uint32_t event, void* data) override;

private:
    // What `Config` does for one item. Handlers get its `data` and `length` as they came.
    struct ConfigurationItem {
        int32_t id;
        HRESULT (PVQSNLib::*handler)(void* data, uint32_t* length);
    };
    HRESULT SetLogFolder(void* data, uint32_t* length);
    HRESULT EnableSingleSignOn(void* data, uint32_t* length);
    HRESULT SetMemberToken(void* data, uint32_t* length);
    HRESULT SetRefreshToken(void* data, uint32_t* length);
    HRESULT GetMemberToken(void* data, uint32_t* length);
    HRESULT GetRefreshToken(void* data, uint32_t* length);

    HRESULT SetLanguage(void* data, uint32_t* length);
    HRESULT SetPlatformInfo(void* data, uint32_t* length);
    HRESULT SetExtendData(void* data, uint32_t* length);
    HRESULT EnableCheckTokenRoutine(void* data, uint32_t* length);
    HRESULT UseTestbed(void* data, uint32_t* length);
    template <class Task>
    HRESULT RunCommand(void* data, uint32_t* length);
    template <class Task>
    HRESULT RunSwitchTask(const void* data, const wchar_t* name);
    // Waits for the task: its result, QSN_RETURN_E_NOT_INITIALIZED or QSN_RETURN_E_TIMEOUT.
    template <class Task, class... Arguments>
    HRESULT Run(Arguments... arguments);

    // What is done about an event of another application.
    HRESULT SignInFromStore(const char* data);
    HRESULT SignOutFromStore(const char* data);
    template <int id>
    HRESULT Notify(const char* data);

    // An access token to sign in with, empty if there is none.
    struct Candidate {
        SecretText token;
        bool isShared = false;  // it comes from the other applications
    };
    // `token`: the host's; null: the shared one is looked for.
    Outcome<Candidate> FindToken(const char* token);
    void Share(const Candidate& candidate);
    TokenStore::Tokens ReadTokens();
    void ClearTokens();
    HRESULT SwitchSingleSignOn(uint32_t enable);

    // What the requests of `Start` do on the worker thread.
    QSNThreadContext::Work WorkOf(const QSN_REQUEST& request);
    QSNThreadContext::Work SignInWork(const char* token);
    QSNThreadContext::Work ConfigWork(const QSN_REQUEST& request);
    HRESULT SignOutOn(QSNThreadContext& context);

    // Null while the object is not initialised.
    SessionQueue Queue() const;
    std::shared_ptr<QSNWorkerThread> Worker() const;
    // Ends whatever posts work by itself, then takes the worker away from everybody else.
    RunningSession EndSources();
    RunningSession TakeRunning();
    std::wstring LogFolder() const;
    HRESULT StartSession(const wchar_t* productSID, IQSNCallbackFunc* callback);

    template <class Task, class... Arguments>
    HRESULT Post(Arguments&&... arguments) {
        const std::shared_ptr<QSNWorkerThread> worker = Worker();
        if (!worker) return QSN_RETURN_E_NOT_INITIALIZED;
        return Guarded([&] {
            worker->PostTask(std::make_shared<Task>(std::forward<Arguments>(arguments)...));
            return S_OK;
        });
    }
    // The task's result; nothing if it was not done in time.
    static std::optional<HRESULT> RunAndWait(QSNWorkerThread& worker, const std::shared_ptr<QSNTaskBase>& task);
    HRESULT PostTokenCheck();

    const std::shared_ptr<HostLog> m_log = std::make_shared<HostLog>();
    std::atomic<std::uint32_t> m_lastRequest{0};
    // The token check that was posted last, which exists while it is queued or running, and whose queue it went to.
    // Only the timer's thread looks at them.
    std::weak_ptr<CheckTokenValidTask> m_tokenCheck;
    const QSNWorkerThread* m_tokenChecker = nullptr;
    RoutineTimer m_routineTimer;            // ahead of the worker, whose last task may still arm it
    mutable CriticalSection m_runningLock;  // guards m_running and m_strLogFolder; nothing is called under it
    RunningSession m_running;
    std::wstring m_strLogFolder;  // where the next Init loads the usage log from, empty: from its usual place
    std::atomic_flag m_starting;
    CriticalSection m_sourceLock;  // held while the store's watcher is started or ended, so that none outlives `Uninit`
    std::atomic<bool> m_singleSignOnEnabled{false};
    CheckSingleSignOn m_singleSignOn;  // behind what its watcher uses: it ends first
};

}  // namespace qsn

#pragma once

#include <windows.h>

#include <string>

#include "Utility/Win32Owners.h"
#include "sso/SSOCallback.h"
#include "sso/TokenStore.h"
#include "thread/PVWorkerThread.h"

namespace qsn {

// The shared tokens with a watcher thread. It checks once a second whether another application has changed them.
//
// Any thread may call anything, but `Init`, `Uninit` and the destructor wait for the watcher and must not be called
// from its callback. Reading and writing work with and without the watcher. What is written through this object never
// comes back as an event. Lock order: lifecycle lock, then store lock. The watcher takes only the store lock, and holds
// it while it calls the callback.
class CheckSingleSignOn final : public TokenStore, public PVWorkerThread {
public:
    CheckSingleSignOn() = default;
    CheckSingleSignOn(const CheckSingleSignOn&) = delete;
    CheckSingleSignOn& operator=(const CheckSingleSignOn&) = delete;
    ~CheckSingleSignOn() override;

    // Starts the watcher, or lets it go on if it runs already. `callback`, not owned, must live until `Uninit`. Null
    // starts no thread. E_FAIL: there is no thread to be had.
    HRESULT Init(SSOCallback* callback);
    // Ends it. No event is under way or comes once this has returned. Always 0.
    HRESULT Uninit();
    // `Uninit` with its line in the trace, even if there is nothing to end.
    void UninitIfStarted();

private:
    DWORD ThreadProc() override;
    void Check();
    void CheckRefreshToken();
    // True if the host knows as much as we do.
    bool CheckText(Seen& seen, StoreStatus status, const std::string& text, SSOEvent set, SSOEvent clear);
    // False if the event could not be passed on: the next look finds it again.
    bool Raise(SSOEvent event, const char* data);
    void SetCallback(SSOCallback* callback);

    CriticalSection m_lifecycleLock;  // one `Init` or `Uninit` at a time
    bool m_started = false;
    bool m_watching = false;
    SSOCallback* m_callback = nullptr;  // guarded by the store lock
};

}  // namespace qsn

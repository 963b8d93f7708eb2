#pragma once

#include <qsn/qsn.h>
#include <windows.h>

#include <atomic>

#include "Utility/Win32Owners.h"
#include "support/Library.h"

namespace qsn::bench {

// A host's callback that counts, and can keep the worker thread waiting.
class CountingHost final : public IQSNCallbackFunc {
public:
    // `WaitForCalls` returns after `count` more calls.
    void Expect(int count);
    void WaitForCalls();
    // From its next call on, the callback does not return before `LetGo`.
    void Hold();
    void LetGo();
    int LastResult() const { return m_lastResult; }

    HRESULT STDMETHODCALLTYPE Callback(int32_t action, int32_t result, void* data) override;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

private:
    UniqueHandle m_done{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    UniqueHandle m_mayGo{CreateEventW(nullptr, TRUE, TRUE, nullptr)};
    std::atomic<bool> m_held{false};
    std::atomic<int> m_missing{0};
    std::atomic<int> m_lastResult{-1};
};

// The shipped DLL with an initialised library object.
class Session {
public:
    Session();
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    IPVSubscription2& Qsn() { return *m_qsn; }
    CountingHost& Host() { return m_callback; }
    void SignIn();
    // Returns when the callback came; throws std::runtime_error if it brought no user.
    void FetchUser();
    // When this returns, the worker is in a callback, and it stays there until LetWorkerGo().
    void HoldWorker();
    // When this returns, the worker has left the callback, and what was queued behind that has run.
    void LetWorkerGo();

private:
    CountingHost m_callback;
    test::Library m_library;
    test::LibraryObject m_qsn;
};

}  // namespace qsn::bench

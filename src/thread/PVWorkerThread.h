#pragma once

#include <windows.h>

#include <atomic>
#include <memory>

#include "Utility/ComApartment.h"
#include "Utility/Win32Owners.h"
#include "thread/PVEvent.h"

namespace qsn {

// A thread that runs `ThreadProc` of a derived class with COM initialised. The derived class calls `RequestStop` (or
// uses a signal of its own) and `Join` in its destructor: here it would be too late, its members are gone.
class PVWorkerThread : public ThreadBody {
public:
    PVWorkerThread(const PVWorkerThread&) = delete;
    PVWorkerThread& operator=(const PVWorkerThread&) = delete;
    virtual ~PVWorkerThread();

    // True only if this call created the thread.
    bool Start() noexcept;

protected:
    PVWorkerThread() = default;

    void RequestStop() noexcept { m_stopRequested.Signal(); }
    // Returns at once when a stop is requested.
    bool WaitForStopRequest(DWORD milliseconds) noexcept { return m_stopRequested.Wait(milliseconds); }
    bool IsCurrentThread() const noexcept { return m_run && m_run->threadId == GetCurrentThreadId(); }
    // Waits without limit; returns at once if no thread was started or another caller waits for it already.
    void Join() noexcept;
    // True if the thread has ended, or if there is none to wait for. Not beside another `Join`.
    bool JoinFor(DWORD milliseconds) const noexcept;
    // On the thread itself: nobody waits for it any more. It keeps the DLL loaded until it ends; its body must keep
    // itself alive.
    void LeaveBehind() noexcept;

private:
    // Of one start, shared with the thread, which may outlive the object.
    struct Run {
        std::atomic<DWORD> threadId{0};  // 0 once it has ended: the system gives numbers out again
        HMODULE module = nullptr;        // a reference for the thread to give back at its end; the thread's own
    };
    struct Launch {
        ThreadBody* body;
        std::shared_ptr<Run> run;
    };
    static DWORD WINAPI ThreadEntry(void* argument) noexcept;

    PVEvent m_stopRequested{PVEvent::Reset::kManual};
    std::shared_ptr<Run> m_run;  // written by `Start`
    CriticalSection m_startLock;
    std::atomic<HANDLE> m_thread{nullptr};
};

}  // namespace qsn

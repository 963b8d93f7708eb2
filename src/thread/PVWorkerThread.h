#pragma once

#include <windows.h>

#include <atomic>

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

    // True only where this call created the thread.
    bool Start() noexcept;

protected:
    PVWorkerThread() = default;

    void RequestStop() const noexcept { m_stopRequested.Signal(); }
    // Returns at once when a stop is requested.
    bool WaitForStopRequest(DWORD milliseconds) const noexcept { return m_stopRequested.Wait(milliseconds); }
    // Waits without limit; returns at once where no thread was started or somebody else waits for it already.
    void Join() noexcept;

private:
    static DWORD WINAPI ThreadEntry(void* body) noexcept;

    PVEvent m_stopRequested{PVEvent::Reset::kManual};
    CriticalSection m_startLock;
    std::atomic<HANDLE> m_thread{nullptr};
};

}  // namespace qsn

#pragma once

#include <windows.h>

#include <atomic>

#include "Utility/Trace.h"
#include "thread/PVEvent.h"

namespace BaseThread {

// One piece of work for a worker thread. Created on the posting thread, run once on the worker thread, destroyed by
// whichever side lets go of it last. The stored result and whatever `Run` leaves in the task may be read after a
// successful `Wait`.
template <class Context>
class BaseTask {
public:
    // The class's name, which is not copied and outlives the task.
    explicit BaseTask(const char* name) : m_strName(name) { TraceA("BaseTask::%s Created.\n", m_strName); }
    BaseTask(const BaseTask&) = delete;
    BaseTask& operator=(const BaseTask&) = delete;
    virtual ~BaseTask() { TraceA("BaseTask::%s Destroyed.\n", m_strName); }

    virtual HRESULT Run(Context* context) = 0;
    // True if the task was completed in time; false at once if it was dropped. One caller only: it consumes the signal.
    bool Wait(DWORD milliseconds) { return m_completed.Wait(milliseconds) && !m_dropped; }
    void Complete(HRESULT result) {
        m_nResult = result;
        TraceA("BaseTask::%s Completed.\n", m_strName);
        m_completed.Signal();
    }
    // It will not be completed: a caller that waits for it need not do so to the end.
    virtual void Drop() {
        m_dropped = true;
        m_completed.Signal();
    }
    HRESULT GetResult() const { return m_nResult; }

private:
    const char* m_strName;
    qsn::PVEvent m_completed{qsn::PVEvent::Reset::kAutomatic};
    std::atomic<bool> m_dropped{false};
    HRESULT m_nResult = 0;
};

}  // namespace BaseThread

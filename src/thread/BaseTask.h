#pragma once

#include <windows.h>

#include <atomic>
#include <string>
#include <string_view>

#include "Utility/Trace.h"
#include "thread/PVEvent.h"

namespace BaseThread {

// The name of a task class out of its constructor's qualified name: what follows the last colon.
constexpr const char* TaskName(std::string_view constructorName) {
    return constructorName.substr(constructorName.rfind(':') + 1).data();
}

// One piece of work for a worker thread. Created on the posting thread, run once on the worker thread, destroyed by
// whichever side lets go of it last. The stored result and whatever `Run` leaves in the task may be read after a
// successful `Wait`.
template <class Context>
class BaseTask {
public:
    // A literal: it is not copied.
    explicit BaseTask(const char* constructorName) : m_strName(TaskName(constructorName)) {
        TraceA("BaseTask::%s Created.\n", m_strName);
    }
    BaseTask(const BaseTask&) = delete;
    BaseTask& operator=(const BaseTask&) = delete;
    virtual ~BaseTask() { TraceA("BaseTask::%s Destroyed.\n", m_strName); }

    virtual std::string GetName() { return m_strName; }
    virtual HRESULT Run(Context* context) = 0;
    // True where the task was completed in time; false at once where it was dropped. One caller only: it consumes the
    // signal.
    virtual bool Wait(DWORD milliseconds) { return m_completed.Wait(milliseconds) && !m_dropped; }
    virtual void Complete() {
        TraceA("BaseTask::%s Completed.\n", m_strName);
        m_completed.Signal();
    }
    // It will not be completed: whoever waits for it need not do so to the end.
    virtual void Drop() {
        m_dropped = true;
        m_completed.Signal();
    }
    // Only asks: a long `Run` may look at `IsAborted`.
    virtual void Abort() { m_aborted = true; }
    virtual bool IsAborted() { return m_aborted; }
    virtual void SetResult(HRESULT result) { m_nResult = result; }
    virtual HRESULT GetResult() { return m_nResult; }

private:
    const char* m_strName;
    qsn::PVEvent m_completed{qsn::PVEvent::Reset::kAutomatic};
    std::atomic<bool> m_aborted{false};
    std::atomic<bool> m_dropped{false};
    HRESULT m_nResult = 0;
};

}  // namespace BaseThread

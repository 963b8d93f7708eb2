#pragma once

#include <windows.h>

#include <atomic>
#include <memory>
#include <string>

#include "Utility/Trace.h"
#include "thread/PVEvent.h"

namespace BaseThread {

// The name of a task class out of its constructor's qualified name: what follows the last colon.
inline std::string TaskName(const std::string& constructorName) {
    return constructorName.substr(constructorName.rfind(':') + 1);
}

// One piece of work for a worker thread. Created on the posting thread, run once on the worker thread, destroyed by
// whichever side lets go of it last. The stored result and whatever `Run` leaves in the task may be read after a
// successful `Wait`.
template <class Context>
class BaseTask {
public:
    explicit BaseTask(const char* constructorName) : m_strName(TaskName(constructorName)) {
        TraceA("BaseTask::%s Created.\n", m_strName.c_str());
    }
    BaseTask(const BaseTask&) = delete;
    BaseTask& operator=(const BaseTask&) = delete;
    virtual ~BaseTask() { TraceA("BaseTask::%s Destroyed.\n", m_strName.c_str()); }

    virtual std::string GetName() { return m_strName; }
    virtual HRESULT Run(Context* context) = 0;
    // True where the task was completed in time; false at once where it was dropped. One caller only: it consumes the
    // signal.
    virtual bool Wait(DWORD milliseconds) { return m_spCompleted->Wait(milliseconds) && !m_dropped; }
    virtual void Complete() {
        TraceA("BaseTask::%s Completed.\n", m_strName.c_str());
        m_spCompleted->Signal();
    }
    // It will not be completed: whoever waits for it need not do so to the end.
    virtual void Drop() {
        m_dropped = true;
        m_spCompleted->Signal();
    }
    // Only asks: a long `Run` may look at `IsAborted`.
    virtual void Abort() { m_spAborted->Signal(); }
    virtual bool IsAborted() { return m_spAborted->Wait(0); }
    virtual void SetResult(HRESULT result) { m_nResult = result; }
    virtual HRESULT GetResult() { return m_nResult; }

private:
    using Event = qsn::PVEvent;

    std::string m_strName;
    std::shared_ptr<Event> m_spCompleted = std::make_shared<Event>(Event::Reset::kAutomatic);
    std::shared_ptr<Event> m_spAborted = std::make_shared<Event>(Event::Reset::kManual);
    std::atomic<bool> m_dropped{false};
    HRESULT m_nResult = 0;
};

}  // namespace BaseThread

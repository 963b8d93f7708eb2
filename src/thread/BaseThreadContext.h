#pragma once

#include <windows.h>

#include "Utility/Trace.h"

namespace BaseThread {

// What the tasks of a worker thread run against.
class BaseThreadContext {
public:
    // A literal: it is not copied.
    explicit BaseThreadContext(const char* name) : m_strName(name) { TraceA("ThreadCtx::%s Created.\n", m_strName); }
    BaseThreadContext(const BaseThreadContext&) = delete;
    BaseThreadContext& operator=(const BaseThreadContext&) = delete;
    virtual ~BaseThreadContext() { TraceA("ThreadCtx::%s Destroyed.\n", m_strName); }

    // Called once on the worker thread before its first task.
    virtual bool InitOnThread() { return true; }
    // Called there between tasks. It returns the milliseconds after which it wants to be called again at the latest.
    virtual DWORD Tend() noexcept { return INFINITE; }
    // Called there when no further task runs.
    virtual void EndOnThread() noexcept {}

private:
    const char* m_strName;
};

}  // namespace BaseThread

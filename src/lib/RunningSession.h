#pragma once

#include <windows.h>

#include <memory>

#include "engine/QSNThreadContext.h"
#include "tasks/QSNTask.h"

namespace qsn {

// Where a session's work goes; null if there is no session.
struct SessionQueue {
    std::shared_ptr<QSNWorkerThread> worker;
    std::shared_ptr<RequestBook> book;
};

// A session and the worker thread that works on it, from `Init` to `Uninit` or the last reference to the library
// object.
class RunningSession {
public:
    RunningSession() = default;
    RunningSession(RunningSession&&) = default;
    RunningSession& operator=(RunningSession&&) = default;  // onto an empty one only
    ~RunningSession() { End(); }

    // Once this has returned the host's callback is not called any more and is not referenced, and the worker thread
    // has ended. The running request has a second to end by itself; then it is broken off, whatever a server does. Only
    // a running callback is waited for as long as it takes. Inside the callback this returns at once, and the thread
    // ends after the callback. Not left to the destructors of the parts, because others may hold a reference for a
    // moment longer.
    HRESULT End();

    std::shared_ptr<RequestBook> book;
    std::shared_ptr<QSNThreadContext> context;
    std::shared_ptr<QSNWorkerThread> worker;
};

}  // namespace qsn

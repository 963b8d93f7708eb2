#pragma once

#include <windows.h>

#include <atomic>
#include <memory>
#include <mutex>

#include "Utility/Guard.h"
#include "Utility/Trace.h"
#include "Utility/Win32Owners.h"
#include "thread/BaseTaskQueue.h"
#include "thread/PVEvent.h"
#include "thread/PVWorkerThread.h"

namespace BaseThread {

// The worker thread: runs posted tasks one at a time, in posting order, against its context.
//
// Any thread may call `PostTask` and `Stop`. `Quit` and the destructor wait for the running task without limit; on the
// worker thread itself they do not, and then the thread ends by itself once the task has. For that it keeps the object
// alive, which a shared pointer must own. Lock order: state lock, then the queue's own. `Run` of a task is called under
// no lock.
template <class Context>
class MainThread : public qsn::PVWorkerThread, public std::enable_shared_from_this<MainThread<Context>> {
public:
    using TaskPointer = typename BaseTaskQueue<Context>::TaskPointer;

    MainThread() { TraceA("BaseThread::MainThread<class QSNThreadContext>::MainThread"); }
    ~MainThread() override {
        Quit();
        TraceA("BaseThread::MainThread<class QSNThreadContext>::~MainThread");
    }

    // Once, before `Start`.
    void SetThreadContext(std::shared_ptr<Context> context) { m_spContext = std::move(context); }

    // Dropped if the thread is quitting.
    void PostTask(TaskPointer task) {
        const std::lock_guard lock(m_stateLock);
        if (m_quit) return task->Drop();
        m_queue.PushTask(std::move(task));
    }

    // Drops what is queued; the running task and the thread go on.
    void Stop() {
        const std::lock_guard lock(m_stateLock);
        m_queue.Clear();
    }

    // Has the thread look after its context even if there is nothing to run. Any thread.
    void Wake() { m_queue.Wake(); }

    // Stops for good: no further task starts.
    void RequestQuit() {
        const std::lock_guard lock(m_stateLock);
        m_quit = true;
        m_queue.Clear();
        m_queue.Wake();
    }
    // Returns when the thread has ended; on the thread itself at once.
    void Quit() {
        RequestQuit();
        IsCurrentThread() ? LeaveBehind() : Join();
    }
    // For a running task that is given up: a caller that waits for it need not do so to the end.
    void DropRunning() {
        const std::lock_guard lock(m_stateLock);
        if (m_spCurrentTask) m_spCurrentTask->Drop();
    }
    using PVWorkerThread::IsCurrentThread;
    using PVWorkerThread::JoinFor;
    using PVWorkerThread::LeaveBehind;

    DWORD ThreadProc() override {
        const std::shared_ptr<MainThread> self = this->weak_from_this().lock();
        const DWORD id = GetCurrentThreadId();
        TraceA("BaseThread::MainThread<class QSNThreadContext>::ThreadProc[0x%08x]: start", static_cast<unsigned>(id));
        const std::shared_ptr<Context> context = std::move(m_spContext);
        // Tasks run even so: each reports its own failure, and a host that waits for a callback gets one.
        if (!context || !context->InitOnThread()) {
            TraceA("MainThread(0x%08x)::ThreadProc ThreadContext create failed !", static_cast<unsigned>(id));
        }
        while (!m_quit) {
            RunOneTask(context.get());
            m_queue.Wait(context ? context->Tend() : INFINITE);
        }
        if (context) context->EndOnThread();
        TraceA("BaseThread::MainThread<class QSNThreadContext>::ThreadProc[0x%08x]: quit", static_cast<unsigned>(id));
        return 0;
    }

private:
    TaskPointer TakeTask() {
        const std::lock_guard lock(m_stateLock);
        // Without this test, taking a task that came in after `Quit` would also take its wake-up.
        if (m_quit) return nullptr;
        TaskPointer task = m_queue.PopTask();
        m_spCurrentTask = task;
        return task;
    }

    void RunOneTask(Context* context) {
        const TaskPointer task = TakeTask();
        if (!task) return;
        const HRESULT result = qsn::Guarded([&] { return task->Run(context); });
        {
            const std::lock_guard lock(m_stateLock);
            m_spCurrentTask.reset();
        }
        task->Complete(result);
    }

    qsn::CriticalSection m_stateLock;
    std::atomic<bool> m_quit{false};
    BaseTaskQueue<Context> m_queue;
    TaskPointer m_spCurrentTask;
    std::shared_ptr<Context> m_spContext;
};

}  // namespace BaseThread

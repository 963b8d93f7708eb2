#pragma once

#include <windows.h>

#include <deque>
#include <memory>
#include <mutex>

#include "Utility/Trace.h"
#include "Utility/Win32Owners.h"
#include "thread/BaseTask.h"
#include "thread/PVEvent.h"

namespace BaseThread {

// First in, first out. The event is signalled while tasks are queued, so that the worker never sleeps with work left.
template <class Context>
class BaseTaskQueue {
public:
    using TaskPointer = std::shared_ptr<BaseTask<Context>>;

    BaseTaskQueue() { TraceA("BaseThread::BaseTaskQueue<class QSNThreadContext>::BaseTaskQueue"); }
    BaseTaskQueue(const BaseTaskQueue&) = delete;
    BaseTaskQueue& operator=(const BaseTaskQueue&) = delete;
    ~BaseTaskQueue() = default;

    void PushTask(TaskPointer task) {
        const std::lock_guard lock(m_queueLock);
        const bool wasEmpty = m_tasks.empty();
        m_tasks.push_back(std::move(task));
        if (wasEmpty) m_notEmpty.Signal();
    }
    bool Wait(DWORD milliseconds) { return m_notEmpty.Wait(milliseconds); }
    // Null if the queue is empty. Then the event stays as it is: it may be `ClearAndWake`'s signal.
    TaskPointer PopTask() {
        const std::lock_guard lock(m_queueLock);
        if (m_tasks.empty()) return nullptr;
        TaskPointer task = std::move(m_tasks.front());
        m_tasks.pop_front();
        if (m_tasks.empty()) m_notEmpty.Clear();
        return task;
    }
    void Clear() {
        const std::lock_guard lock(m_queueLock);
        DropAll();
        m_notEmpty.Clear();
    }
    // For the end of the worker, which this wakes without work.
    void ClearAndWake() {
        const std::lock_guard lock(m_queueLock);
        DropAll();
        m_notEmpty.Signal();
    }

private:
    void DropAll() {
        for (const TaskPointer& task : m_tasks) task->Drop();
        m_tasks.clear();
    }

    qsn::CriticalSection m_queueLock;
    qsn::PVEvent m_notEmpty{qsn::PVEvent::Reset::kManual};
    std::deque<TaskPointer> m_tasks;
};

}  // namespace BaseThread

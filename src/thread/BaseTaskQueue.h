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
    // Null if the queue is empty.
    TaskPointer PopTask() {
        const std::lock_guard lock(m_queueLock);
        if (m_tasks.size() < 2) m_notEmpty.Clear();
        if (m_tasks.empty()) return nullptr;
        TaskPointer task = std::move(m_tasks.front());
        m_tasks.pop_front();
        return task;
    }
    // The event stays: somebody may have woken the worker a moment ago, and it finds out by itself that nothing is
    // left.
    void Clear() {
        const std::lock_guard lock(m_queueLock);
        for (const TaskPointer& task : m_tasks) task->Drop();
        m_tasks.clear();
    }
    // Wakes the worker, which may find nothing to run.
    void Wake() { m_notEmpty.Signal(); }

private:
    qsn::CriticalSection m_queueLock;
    qsn::PVEvent m_notEmpty{qsn::PVEvent::Reset::kManual};
    std::deque<TaskPointer> m_tasks;
};

}  // namespace BaseThread

#include "thread/MainThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <list>
#include <new>
#include <vector>

namespace {

constexpr DWORD kPatience = 10000;  // ms

struct TestContext {
    bool InitOnThread() { return !failsToStart; }

    bool failsToStart = false;
    std::vector<int> ran;  // written by the worker only, read after it has completed a later task
};

using Task = BaseThread::BaseTask<TestContext>;
using Thread = BaseThread::MainThread<TestContext>;
using Event = qsn::PVEvent;

class FunctionTask : public Task {
public:
    explicit FunctionTask(std::function<HRESULT(TestContext*)> work)
        : Task("FunctionTask::FunctionTask"), m_work(std::move(work)) {}
    HRESULT Run(TestContext* context) override { return m_work(context); }

private:
    std::function<HRESULT(TestContext*)> m_work;
};

std::shared_ptr<FunctionTask> Note(int number) {
    return std::make_shared<FunctionTask>([number](TestContext* context) {
        context->ran.push_back(number);
        return S_OK;
    });
}

// A task that says when it runs and ends only when told to.
struct HeldTask {
    Event running{Event::Reset::kManual};
    Event proceed{Event::Reset::kManual};
    std::shared_ptr<FunctionTask> task = std::make_shared<FunctionTask>([this](TestContext*) {
        running.Signal();
        proceed.Wait(kPatience);
        return static_cast<HRESULT>(7);
    });
};

class WorkerThread : public testing::Test {
protected:
    void Start() {
        m_thread->SetThreadContext(m_context);
        ASSERT_TRUE(m_thread->Start());
    }

    std::shared_ptr<TestContext> m_context = std::make_shared<TestContext>();
    std::unique_ptr<Thread> m_thread = std::make_unique<Thread>();
};

TEST_F(WorkerThread, RunsTasksInPostingOrder) {
    for (int number : {1, 2, 3}) m_thread->PostTask(Note(number));
    Start();
    const auto last = Note(4);
    m_thread->PostTask(last);
    ASSERT_TRUE(last->Wait(kPatience));
    EXPECT_EQ(m_context->ran, (std::vector{1, 2, 3, 4}));
}

TEST_F(WorkerThread, StopLetsTheRunningTaskEndAndDropsTheRest) {
    HeldTask held;
    const auto queued = Note(1);
    m_thread->PostTask(held.task);
    m_thread->PostTask(queued);
    Start();
    ASSERT_TRUE(held.running.Wait(kPatience));
    m_thread->Stop();
    EXPECT_TRUE(held.task->IsAborted());
    held.proceed.Signal();
    ASSERT_TRUE(held.task->Wait(kPatience));
    EXPECT_EQ(held.task->GetResult(), 7);

    const auto next = Note(2);
    m_thread->PostTask(next);
    ASSERT_TRUE(next->Wait(kPatience)) << "the thread must go on after Stop";
    EXPECT_FALSE(queued->Wait(0));
    EXPECT_EQ(m_context->ran, std::vector{2});
}

TEST(TaskQueue, TakesAListInOrderAndIsSignalledWhileItHasTasks) {
    BaseThread::BaseTaskQueue<TestContext> queue;
    std::list<BaseThread::BaseTaskQueue<TestContext>::TaskPointer> list{Note(1), Note(2)};
    const std::vector tasks(list.begin(), list.end());
    EXPECT_FALSE(queue.Wait(0));
    queue.PushTasks(list);
    EXPECT_TRUE(list.empty());
    queue.PushTasks(list);
    for (const auto& task : tasks) {
        EXPECT_TRUE(queue.Wait(0));
        EXPECT_EQ(queue.PopTask(), task);
    }
    EXPECT_FALSE(queue.Wait(0));
    EXPECT_EQ(tasks[0]->GetName(), "FunctionTask");
}

// What it posts to itself may meet the quit signal on its way.
TEST_F(WorkerThread, PostingWhileQuittingNeverHangs) {
    for (int round = 0; round < 100; ++round) {
        Thread thread;
        thread.SetThreadContext(std::make_shared<TestContext>());
        ASSERT_TRUE(thread.Start());
        thread.PostTask(std::make_shared<FunctionTask>([&](TestContext*) {
            thread.PostTask(Note(1));
            return S_OK;
        }));
    }
}

TEST_F(WorkerThread, ATaskThatThrowsGivesACodeEvenWhereTheContextCouldNotStart) {
    m_context->failsToStart = true;
    const auto task = std::make_shared<FunctionTask>([](TestContext*) -> HRESULT { throw std::bad_alloc(); });
    m_thread->PostTask(task);
    Start();
    EXPECT_FALSE(m_thread->Start());
    ASSERT_TRUE(task->Wait(kPatience));
    EXPECT_EQ(task->GetResult(), E_OUTOFMEMORY);
    m_thread->Quit();
    const auto late = Note(1);
    m_thread->PostTask(late);
    EXPECT_EQ(late.use_count(), 1) << "a task that never runs must not be kept";
}

}  // namespace

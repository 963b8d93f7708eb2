#include "thread/MainThread.h"

#include <gtest/gtest.h>

#include <functional>
#include <list>
#include <vector>

namespace {

constexpr DWORD kPatience = 10000;  // ms

struct TestContext {
    bool InitOnThread() { return !failsToStart; }

    bool failsToStart = false;
    std::vector<int> ran;  // written by the worker only, read after it has completed a later task
};

using Thread = BaseThread::MainThread<TestContext>;

class Task : public BaseThread::BaseTask<TestContext> {
public:
    explicit Task(std::function<HRESULT(TestContext*)> work) : BaseTask("Task::Task"), m_work(std::move(work)) {}
    HRESULT Run(TestContext* context) override { return m_work(context); }

private:
    std::function<HRESULT(TestContext*)> m_work;
};

std::shared_ptr<Task> Note(int number) {
    return std::make_shared<Task>([number](TestContext* context) {
        context->ran.push_back(number);
        return S_OK;
    });
}

TEST(WorkerThread, RunsTasksInOrderUntilToldToStopAndGoesOn) {
    const auto context = std::make_shared<TestContext>();
    Thread thread;
    thread.SetThreadContext(context);
    qsn::PVEvent running{qsn::PVEvent::Reset::kManual}, proceed{qsn::PVEvent::Reset::kManual};
    const auto held = std::make_shared<Task>([&](TestContext*) {
        running.Signal();
        proceed.Wait(kPatience);
        return static_cast<HRESULT>(7);
    });
    const auto dropped = Note(3), next = Note(4);
    for (const auto& task : {Note(1), Note(2), held, dropped}) thread.PostTask(task);
    ASSERT_TRUE(thread.Start());
    ASSERT_TRUE(running.Wait(kPatience));
    thread.Stop();
    EXPECT_TRUE(held->IsAborted());
    proceed.Signal();
    ASSERT_TRUE(held->Wait(kPatience));
    EXPECT_EQ(held->GetResult(), 7);
    thread.PostTask(next);
    ASSERT_TRUE(next->Wait(kPatience));
    EXPECT_FALSE(dropped->Wait(0));
    EXPECT_EQ(context->ran, (std::vector{1, 2, 4}));
}

TEST(WorkerThread, ATaskThatThrowsGivesACodeEvenWhereTheContextCouldNotStart) {
    Thread thread;
    thread.SetThreadContext(std::make_shared<TestContext>(true));
    const auto noMemory = std::make_shared<Task>([](TestContext*) -> HRESULT { throw std::bad_alloc(); });
    const auto other = std::make_shared<Task>([](TestContext*) -> HRESULT { throw 1; });
    thread.PostTask(noMemory);
    thread.PostTask(other);
    ASSERT_TRUE(thread.Start());
    EXPECT_FALSE(thread.Start());
    ASSERT_TRUE(other->Wait(kPatience));
    EXPECT_EQ(noMemory->GetResult(), E_OUTOFMEMORY);
    EXPECT_EQ(other->GetResult(), E_FAIL);
    thread.Quit();
    const auto late = Note(1);
    thread.PostTask(late);
    EXPECT_EQ(late.use_count(), 1) << "a task that never runs must not be kept";
}

// What it posts to itself may meet the quit signal on its way.
TEST(WorkerThread, PostingWhileQuittingNeverHangs) {
    for (int round = 0; round < 100; ++round) {
        Thread thread;
        thread.SetThreadContext(std::make_shared<TestContext>());
        ASSERT_TRUE(thread.Start());
        thread.PostTask(std::make_shared<Task>([&](TestContext*) {
            thread.PostTask(Note(1));
            return S_OK;
        }));
    }
}

TEST(TaskQueue, TakesAListInOrderAndIsSignalledWhileItHasTasks) {
    BaseThread::BaseTaskQueue<TestContext> queue;
    const auto first = Note(1), second = Note(2);
    std::list<std::shared_ptr<BaseThread::BaseTask<TestContext>>> list{first, second};
    queue.PushTasks(list);
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(queue.PopTask(), first);
    EXPECT_TRUE(queue.Wait(0));
    EXPECT_EQ(queue.PopTask(), second);
    EXPECT_FALSE(queue.Wait(0));
}

}  // namespace

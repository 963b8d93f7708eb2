#include "thread/BaseThreadContext.h"
#include "thread/MainThread.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

struct TestContext : BaseThread::BaseThreadContext {
    TestContext() : BaseThreadContext("TestContext") {}
    bool InitOnThread() override { return false; }
};

using Thread = BaseThread::MainThread<TestContext>;

class Task : public BaseThread::BaseTask<TestContext> {
public:
    explicit Task(std::function<HRESULT(TestContext*)> work) : BaseTask("Task"), m_work(std::move(work)) {}
    HRESULT Run(TestContext* context) override { return m_work(context); }

private:
    std::function<HRESULT(TestContext*)> m_work;
};

HRESULT Succeed(TestContext*) { return S_OK; }

TEST(WorkerThread, ATaskThatThrowsGivesACodeEvenWhereTheContextCouldNotStart) {
    Thread thread;
    thread.SetThreadContext(std::make_shared<TestContext>());
    const auto noMemory = std::make_shared<Task>([](TestContext*) -> HRESULT { throw std::bad_alloc(); });
    const auto other = std::make_shared<Task>([](TestContext*) -> HRESULT { throw 1; });
    thread.PostTask(noMemory);
    thread.PostTask(other);
    ASSERT_TRUE(thread.Start());
    EXPECT_FALSE(thread.Start());
    ASSERT_TRUE(other->Wait(10000));
    EXPECT_EQ(noMemory->GetResult(), E_OUTOFMEMORY);
    EXPECT_EQ(other->GetResult(), E_FAIL);
}

TEST(WorkerThread, WhoWaitsForATaskThatNeverRunsGoesOnAtOnce) {
    Thread thread;
    const auto queued = std::make_shared<Task>(Succeed), late = std::make_shared<Task>(Succeed);
    thread.PostTask(queued);
    thread.Quit();
    thread.PostTask(late);
    const ULONGLONG start = GetTickCount64();
    EXPECT_FALSE(queued->Wait(10000) || late->Wait(10000));
    EXPECT_LT(GetTickCount64() - start, 5000u);
    EXPECT_EQ(queued.use_count() + late.use_count(), 2) << "and nobody keeps it";
}

// A task that it posts to itself may meet the quit signal on its way.
TEST(WorkerThread, PostingWhileQuittingNeverHangs) {
    for (int round = 0; round < 100; ++round) {
        Thread thread;
        thread.SetThreadContext(std::make_shared<TestContext>());
        ASSERT_TRUE(thread.Start());
        thread.PostTask(std::make_shared<Task>([&](TestContext*) {
            thread.PostTask(std::make_shared<Task>(Succeed));
            return S_OK;
        }));
    }
}

TEST(WorkerThread, StoppingAfterTheEndWasAskedForDoesNotTakeTheWakeUp) {
    Thread thread;
    thread.SetThreadContext(std::make_shared<TestContext>());
    qsn::PVEvent running{qsn::PVEvent::Reset::kManual}, mayEnd{qsn::PVEvent::Reset::kManual};
    thread.PostTask(std::make_shared<Task>([&](TestContext*) {
        running.Signal();
        return mayEnd.Wait(10000) ? S_OK : E_FAIL;
    }));
    ASSERT_TRUE(thread.Start());
    ASSERT_TRUE(running.Wait(10000));
    thread.RequestQuit();
    thread.Stop();
    mayEnd.Signal();
    const bool ended = thread.JoinFor(5000);
    EXPECT_TRUE(ended);
    if (!ended) thread.RequestQuit();
}

}  // namespace

#include "engine/RoutineTimer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "thread/PVEvent.h"

namespace {

using qsn::RoutineTimer;

class CountingCallback final : public qsn::RoutineTimerCallback {
public:
    HRESULT RoutineTimerCallbackEvent(std::uint32_t event, void* data) override {
        if (event != qsn::kRoutineEventCheckToken || data != nullptr) ++wrong;
        ++fired;
        m_fired.Signal();
        return S_OK;
    }
    bool WaitForOne(DWORD milliseconds) { return m_fired.Wait(milliseconds); }

    std::atomic<int> fired{0};
    std::atomic<int> wrong{0};

private:
    qsn::PVEvent m_fired{qsn::PVEvent::Reset::kAutomatic};
};

class RoutineTimers : public testing::Test {
protected:
    CountingCallback m_callback;
    RoutineTimer m_timer;
};

TEST_F(RoutineTimers, FireAfterTheIntervalAndThenAgain) {
    ASSERT_EQ(m_timer.Init(&m_callback), S_OK);
    const ULONGLONG start = GetTickCount64();
    ASSERT_EQ(m_timer.SetRoutine(1, true, 1), S_OK);
    ASSERT_TRUE(m_callback.WaitForOne(10000));
    EXPECT_GE(GetTickCount64() - start, 850u) << "ten ticks, the first of them perhaps at once";
    EXPECT_TRUE(m_callback.WaitForOne(10000));
    EXPECT_EQ(m_callback.wrong, 0);
}

TEST_F(RoutineTimers, AreArmedOnlyWhileTheyRun) {
    EXPECT_EQ(m_timer.SetRoutine(1, true, 1), E_NOTIMPL);
    ASSERT_EQ(m_timer.Init(&m_callback), S_OK);
    EXPECT_EQ(m_timer.Init(&m_callback), S_OK);
    EXPECT_EQ(m_timer.SetRoutine(1, true, 0), E_INVALIDARG);
    EXPECT_EQ(m_timer.SetRoutine(77, true, 0xFFFFFFFF), S_OK) << "neither the event nor a long time matters";
    EXPECT_EQ(m_timer.SetRoutine(0, false, 0), S_OK);
    EXPECT_EQ(m_timer.Uninit(), 0);
    EXPECT_EQ(m_timer.Uninit(), 1);
    EXPECT_EQ(m_timer.SetRoutine(1, true, 1), E_NOTIMPL);
    EXPECT_EQ(m_callback.fired, 0);
}

TEST_F(RoutineTimers, StopAtOnceAndStartAgainWhileOthersArmThem) {
    std::atomic<bool> done{false};
    std::thread other([&] {
        for (bool arm = false; !done; arm = !arm) m_timer.SetRoutine(1, arm, 1);
    });
    for (int round = 0; round < 500; ++round) {
        EXPECT_EQ(m_timer.Init(&m_callback), S_OK);
        const ULONGLONG start = GetTickCount64();
        EXPECT_EQ(m_timer.Uninit(), 0);
        EXPECT_LT(GetTickCount64() - start, 1000u);
    }
    done = true;
    other.join();
    EXPECT_EQ(m_callback.fired, 0) << "each round is far shorter than the interval";
}

}  // namespace

#pragma once

#include <windows.h>

#include <cstdint>

#include "Utility/Win32Owners.h"
#include "thread/PVWorkerThread.h"

namespace qsn {

inline constexpr std::uint32_t kRoutineEventCheckToken = 1;  // ROUTINE_EVENT_CHECK_TOKEN

// Told by the timer that an entry's time is over. Called on the timer's thread under the timer's lock: post work and
// return, and do not call the timer.
class RoutineTimerCallback {
public:
    virtual HRESULT RoutineTimerCallbackEvent(std::uint32_t event, void* data) = 0;

protected:
    ~RoutineTimerCallback() = default;
};

// Counts down to the next token check in ticks of 100 ms, on a thread of its own.
// Any thread but the timer's own may call. Its lock is never held during a wait.
class RoutineTimer final : public PVWorkerThread {
public:
    RoutineTimer() = default;
    RoutineTimer(const RoutineTimer&) = delete;
    RoutineTimer& operator=(const RoutineTimer&) = delete;
    ~RoutineTimer() override;

    // Does nothing if the timer has been initialised already. `Run` starts the thread, so that nobody waits for that
    // here.
    HRESULT Init(RoutineTimerCallback* callback);
    // Starts the thread of an initialised timer. If there is no thread, it is as if it had not been initialised.
    void Run();
    // 0 if the timer was initialised, 1 if it was not. No event comes once this has returned.
    HRESULT Uninit();

    // Arms the token check anew, to fire after every `interval` seconds, or disarms it. `event` is ignored.
    // E_INVALIDARG: enabled with an interval of 0. E_NOTIMPL: the timer is not initialised.
    HRESULT SetRoutine(std::uint32_t event, bool enable, std::uint32_t interval);

    DWORD ThreadProc() override;

private:
    void Forget() noexcept;
    void Tick();

    CriticalSection m_timerLock;  // guards what follows; the callback is called under it
    bool m_initialised = false;
    RoutineTimerCallback* m_callback = nullptr;
    bool m_enabled = false;         // the token check
    std::uint32_t m_interval = 0;   // s
    std::uint32_t m_countdown = 0;  // ticks
};

}  // namespace qsn

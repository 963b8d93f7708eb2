#include "engine/RoutineTimer.h"

#include <algorithm>
#include <limits>
#include <mutex>

#include "Utility/Trace.h"

namespace qsn {
namespace {

constexpr DWORD kTick = 100;  // ms
constexpr std::uint32_t kTicksPerSecond = 10;

std::uint32_t Ticks(std::uint32_t seconds) {
    return std::min(seconds, std::numeric_limits<std::uint32_t>::max() / kTicksPerSecond) * kTicksPerSecond;
}

}  // namespace

RoutineTimer::~RoutineTimer() { Uninit(); }

HRESULT RoutineTimer::Init(RoutineTimerCallback* callback) {
    TraceA("RoutineTimer::Init");
    const std::lock_guard lock(m_timerLock);
    if (m_initialised) return S_OK;
    m_enabled = false;
    m_callback = callback;
    m_initialised = true;
    return S_OK;
}

void RoutineTimer::Run() {
    const std::lock_guard lock(m_timerLock);
    if (m_initialised && !Start()) Forget();
}

HRESULT RoutineTimer::Uninit() {
    TraceA("RoutineTimer::Uninit");
    {
        const std::lock_guard lock(m_timerLock);
        if (!m_initialised) return S_FALSE;
        Forget();
    }
    // Outside the lock: the thread may be about to take it for one more tick, which finds nothing to do.
    RequestStop();
    Join();
    return S_OK;
}

HRESULT RoutineTimer::SetRoutine(std::uint32_t /*event*/, bool enable, std::uint32_t interval) {
    const std::lock_guard lock(m_timerLock);
    if (enable && interval == 0) return E_INVALIDARG;
    if (!m_initialised) return E_NOTIMPL;
    m_enabled = enable;
    m_interval = interval;
    m_countdown = Ticks(interval);
    return S_OK;
}

void RoutineTimer::Forget() noexcept {
    m_initialised = false;
    m_callback = nullptr;
    m_enabled = false;
}

DWORD RoutineTimer::ThreadProc() {
    TraceA("RoutineTimer thread: start");
    do {
        Tick();
    } while (!WaitForStopRequest(kTick));
    TraceA("RoutineTimer thread: quit");
    return 0;
}

void RoutineTimer::Tick() {
    const std::lock_guard lock(m_timerLock);
    if (!m_enabled || --m_countdown != 0) return;
    m_callback->RoutineTimerCallbackEvent(kRoutineEventCheckToken, nullptr);
    m_countdown = Ticks(m_interval);
}

}  // namespace qsn

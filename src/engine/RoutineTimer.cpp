#include "engine/RoutineTimer.h"

#include <algorithm>
#include <limits>
#include <mutex>

#include "Utility/Trace.h"

namespace qsn {
namespace {

constexpr std::uint32_t kCheckTokenEntry = 1;
constexpr std::uint32_t kNever = std::numeric_limits<std::uint32_t>::max();
constexpr DWORD kTick = 100;  // ms
constexpr std::uint32_t kTicksPerSecond = 10;

std::uint32_t Ticks(std::uint32_t seconds) { return std::min(seconds, kNever / kTicksPerSecond) * kTicksPerSecond; }

}  // namespace

RoutineTimer::~RoutineTimer() { Uninit(); }

HRESULT RoutineTimer::Init(RoutineTimerCallback* callback) {
    TraceA("RoutineTimer::Init");
    const std::lock_guard lock(m_timerLock);
    if (m_initialised) return S_OK;
    m_entries = {{kCheckTokenEntry, false, kNever, kNever, kRoutineEventCheckToken}};
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
    const auto entry = std::ranges::find(m_entries, kCheckTokenEntry, &RoutineEntry::id);
    if (entry == m_entries.end()) return E_NOTIMPL;
    entry->enabled = enable;
    entry->interval = interval;
    entry->countdown = Ticks(interval);
    return S_OK;
}

void RoutineTimer::Forget() noexcept {
    m_initialised = false;
    m_callback = nullptr;
    m_entries.clear();
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
    for (RoutineEntry& entry : m_entries) {
        if (!entry.enabled || --entry.countdown != 0) continue;
        if (m_callback) m_callback->RoutineTimerCallbackEvent(entry.event, nullptr);
        entry.countdown = Ticks(entry.interval);
    }
}

}  // namespace qsn

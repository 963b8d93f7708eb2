#pragma once

#include <windows.h>

#include <mutex>

#include "Utility/Win32Owners.h"

namespace qsn {

// What a Win32 event is, without the kernel's object: neither setting one without a waiter nor testing
// one calls the system, and making one cannot fail.
class PVEvent {
public:
    enum class Reset { kAutomatic, kManual };

    explicit PVEvent(Reset reset) noexcept : m_reset(reset) {}
    PVEvent(const PVEvent&) = delete;
    PVEvent& operator=(const PVEvent&) = delete;
    ~PVEvent() = default;

    void Signal() noexcept {
        const std::lock_guard lock(m_lock);
        m_signalled = true;
        WakeAllConditionVariable(&m_changed);
    }
    void Clear() noexcept {
        const std::lock_guard lock(m_lock);
        m_signalled = false;
    }
    // True if it was signalled within the time; INFINITE waits without limit.
    bool Wait(DWORD milliseconds) noexcept {
        const std::lock_guard lock(m_lock);
        const ULONGLONG start = GetTickCount64();
        // Threads also wake up without having been woken. Whether the time is over is the system's to say: the clock
        // here is too coarse, and would have us wait for the last few milliseconds again and again.
        DWORD rest = milliseconds;
        while (!m_signalled && SleepConditionVariableSRW(&m_changed, m_lock.Native(), rest, 0)) {
            const ULONGLONG elapsed = milliseconds == INFINITE ? 0 : GetTickCount64() - start;
            rest = elapsed < milliseconds ? milliseconds - static_cast<DWORD>(elapsed) : 0;
        }
        if (!m_signalled) return false;
        if (m_reset == Reset::kAutomatic) m_signalled = false;
        return true;
    }

private:
    const Reset m_reset;
    bool m_signalled = false;
    SlimLock m_lock;  // guards m_signalled
    CONDITION_VARIABLE m_changed = CONDITION_VARIABLE_INIT;
};

}  // namespace qsn

#include "Utility/Interruption.h"

#include <algorithm>
#include <array>
#include <mutex>

#include "Utility/Clock.h"

namespace qsn {
namespace {

constexpr DWORD kWithoutEvent = 20;  // ms to wait at a time

}  // namespace

void Interruption::BreakOff() noexcept {
    m_isBrokenOff = true;
    Wake();
}

void Interruption::BreakOffRequest() noexcept {
    m_isRequestBrokenOff = true;
    Wake();
}

void Interruption::Wake() noexcept {
    const std::lock_guard lock(m_lock);
    if (m_event) SetEvent(m_event.Get());
    if (m_wake) m_wake(m_argument);
}

// Made when it is first asked for: `Init` need not wait for the system there. Null if the system has none left.
HANDLE Interruption::Event() noexcept {
    const std::lock_guard lock(m_lock);
    if (!m_event) m_event.Reset(CreateEventW(nullptr, FALSE, TRUE, nullptr));
    return m_event.Get();
}

bool Interruption::Wait(HANDLE object, DWORD milliseconds) noexcept {
    const std::array handles{object, Event()};
    const DWORD count = handles[1] ? 2 : 1;
    const DWORD longest = handles[1] ? INFINITE : kWithoutEvent;
    const std::uint64_t start = Milliseconds();
    for (;;) {
        const DWORD pause = std::min(Tend(), longest);
        if (IsBrokenOff()) return false;
        const std::uint64_t elapsed = Milliseconds() - start;
        const DWORD rest = elapsed < milliseconds ? milliseconds - static_cast<DWORD>(elapsed) : 0;
        const DWORD ended = WaitForMultipleObjects(count, handles.data(), FALSE, std::min(rest, pause));
        if (ended == WAIT_OBJECT_0) return true;
        if (ended == WAIT_FAILED || (ended == WAIT_TIMEOUT && rest <= pause)) return false;
    }
}

Interruption::OwnWait::OwnWait(Interruption& interruption, void (*wake)(void*), void* argument) noexcept
    : m_interruption(interruption) {
    const std::lock_guard lock(m_interruption.m_lock);
    m_interruption.m_wake = wake;
    m_interruption.m_argument = argument;
}

Interruption::OwnWait::~OwnWait() {
    const std::lock_guard lock(m_interruption.m_lock);
    m_interruption.m_wake = nullptr;
}

}  // namespace qsn

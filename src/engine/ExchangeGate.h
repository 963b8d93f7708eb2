#pragma once

#include <atomic>
#include <mutex>

#include "Utility/Win32Owners.h"

namespace qsn {

// Between the worker thread, which may be held up in an exchange for as long as a server likes, and the thread that
// ends the session. WinINet has no safe way to break off a call of another thread (its handles must not be closed
// under a running call), so the exchange is left behind: the worker finds the session gone when its call returns.
//
// What the worker uses inside the gate must be its own, and not the session's.
class ExchangeGate {
public:
    // The worker thread's: false where the session is ending, and then there is nothing to leave.
    bool Enter() noexcept {
        const std::lock_guard lock(m_gateLock);
        if (m_closed) return false;
        m_inside = true;
        return true;
    }
    // False where the exchange was abandoned: its outcome is nobody's business any more.
    bool Leave() noexcept {
        const std::lock_guard lock(m_gateLock);
        m_inside = false;
        return !m_abandoned;
    }

    // From now on nobody enters, and who is inside had better leave. For good.
    void Close() noexcept {
        const std::lock_guard lock(m_gateLock);
        m_closed = true;
    }
    bool IsClosed() const noexcept { return m_closed; }

    // Calls `endSession` and returns true where the worker is inside. It cannot leave meanwhile: the lock holds it up,
    // and nobody else ever waits for that.
    template <class Function>
    bool Abandon(Function&& endSession) {
        const std::lock_guard lock(m_gateLock);
        m_abandoned = m_inside;
        if (m_abandoned) endSession();
        return m_abandoned;
    }

private:
    CriticalSection m_gateLock;  // guards what follows, of which the worker may read the first without it
    std::atomic<bool> m_closed{false};
    bool m_inside = false;
    bool m_abandoned = false;
};

}  // namespace qsn

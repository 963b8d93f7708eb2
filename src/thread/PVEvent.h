#pragma once

#include <windows.h>

#include <new>

#include "Utility/Win32Owners.h"

namespace qsn {

// A Win32 event. Construction throws std::bad_alloc where the system has none to give, so that no wait ever stands on
// an event that cannot be signalled.
class PVEvent {
public:
    enum class Reset { kAutomatic, kManual };

    explicit PVEvent(Reset reset)
        : m_handle(CreateEventW(nullptr, reset == Reset::kManual, /*bInitialState=*/FALSE, nullptr)) {
        if (!m_handle) throw std::bad_alloc();
    }

    void Signal() const noexcept { SetEvent(m_handle.Get()); }
    void Clear() const noexcept { ResetEvent(m_handle.Get()); }
    bool Wait(DWORD milliseconds) const noexcept {
        return WaitForSingleObject(m_handle.Get(), milliseconds) == WAIT_OBJECT_0;
    }

private:
    UniqueHandle m_handle;
};

}  // namespace qsn

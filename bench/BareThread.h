#pragma once

#include <windows.h>

#include "Utility/Win32Owners.h"

namespace qsn::bench {

// What a thread that does nothing costs.
inline void RunThread() {
    const UniqueHandle thread(CreateThread(
        nullptr, 0, [](void*) -> DWORD { return 0; }, nullptr, 0, nullptr));
    WaitForSingleObject(thread.Get(), INFINITE);
}

}  // namespace qsn::bench

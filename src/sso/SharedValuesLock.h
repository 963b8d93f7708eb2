#pragma once

#include <windows.h>

#include "Utility/Win32Owners.h"

namespace qsn {

// Held while shared values are changed, and from a look at them to the change that depends on it. All libraries in the
// user's desktop session take it, on any thread. Its holder may take it again.
//
// It is a courtesy and not a condition. If a library cannot have it, because an application hangs with it or for any
// other reason, it makes the change without it. All that is left unguarded then is the time between two registry calls.
class SharedValuesLock {
public:
    SharedValuesLock() noexcept;
    SharedValuesLock(const SharedValuesLock&) = delete;
    SharedValuesLock& operator=(const SharedValuesLock&) = delete;
    ~SharedValuesLock();

private:
    UniqueHandle m_mutex;
    bool m_held = false;
};

}  // namespace qsn

#pragma once

#include <windows.h>

#include "Utility/Win32Owners.h"

namespace qsn {

// Held while shared values are changed, and from a look at them to the change that rests on it. All libraries of the
// user's desktop session take it, on any thread; its holder may take it again.
//
// It is a courtesy, not a condition: a library that cannot have it, because an application hangs with it or for any
// other reason, makes the change without it. What is left open then is the time between two calls of the registry.
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

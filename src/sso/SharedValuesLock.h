#pragma once

#include <windows.h>

#include "Utility/Win32Owners.h"

namespace qsn {

// Held while shared values are changed, and from a look at them to the change that rests on it. All libraries of the
// user's desktop session take it, on any thread; who holds it may take it again.
//
// It is a courtesy and no condition: an application that hangs with it, or that does without it, holds nobody up. Then,
// as where it cannot be had at all, the change is made without it, and what is left open is the time between two calls
// of the registry.
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

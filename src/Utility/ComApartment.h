#pragma once

#include <windows.h>

namespace qsn {

// What a thread of the library runs.
class ThreadBody {
public:
    virtual DWORD ThreadProc() = 0;

protected:
    ~ThreadBody() = default;
};

// Runs `body` with COM initialised on the calling thread (multithreaded apartment). The body runs even if COM could
// not be initialised. E_POINTER for a null body.
DWORD RunInComApartment(ThreadBody* body);

}  // namespace qsn

#pragma once

#include <windows.h>

#include <cstddef>
#include <map>
#include <string>

namespace qsn::test {

// Fails calls that qsn.dll makes of the system and of the C runtime, as they fail if something has run out. The
// shipped DLL knows nothing of it: the entries of its import table lead through here for as long as this lives, which
// must be less than the DLL stays loaded. libcrypto and the C++ runtime are part of the DLL, so that their allocations
// are counted too. One at a time.
class FailingCalls {
public:
    enum class Kind { kAllocation, kPlatform };

    FailingCalls();
    FailingCalls(const FailingCalls&) = delete;
    FailingCalls& operator=(const FailingCalls&) = delete;
    ~FailingCalls();

    // Of the calls of `kind` from now on, on any thread, the n-th fails; counted from 1.
    void FailNth(Kind kind, unsigned n);
    // All of them do.
    void FailEvery(Kind kind);
    // Each allocation with malloc of `size` bytes or more does.
    void FailBlocksOf(std::size_t size);
    // Each call of the function does, with `error` or, if that is 0, in its own way.
    void FailCallsOf(const char* name, DWORD error = 0);
    // Nothing fails any more. The name of the first function that did, null if none was called often enough.
    const char* Stop();
    unsigned Failures() const;

    // What the DLL holds at this moment: blocks of memory, handles, keys ..., each counted when it was handed out and
    // given back. Kinds that it holds none of are missing.
    static std::map<std::string, long> Held();

private:
    void StartAnew(unsigned n);
};

}  // namespace qsn::test

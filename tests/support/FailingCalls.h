#pragma once

#include <windows.h>

#include <cstddef>
#include <map>
#include <string>

namespace qsn::test {

// Fails calls of qsn.dll to the system and to the C runtime, as they fail if something has run out. The shipped DLL
// knows nothing of it: the entries of its import table lead through here for as long as this lives, and the DLL must
// stay loaded for longer. libcrypto and the C++ runtime are part of the DLL, so their allocations are counted too. One
// at a time.
class FailingCalls {
public:
    enum class Kind { kAllocation, kPlatform };

    FailingCalls();
    FailingCalls(const FailingCalls&) = delete;
    FailingCalls& operator=(const FailingCalls&) = delete;
    ~FailingCalls();

    // From now on the n-th call of `kind` fails, on any thread, counted from 1.
    void FailNth(Kind kind, unsigned n);
    // All of them fail.
    void FailEvery(Kind kind);
    // Each malloc of `size` bytes or more fails.
    void FailBlocksOf(std::size_t size);
    // Each call of the function fails, with `error` or, if that is 0, in its own way.
    void FailCallsOf(const char* name, DWORD error = 0);
    // Nothing fails any more. Returns the name of the first function that failed; null if none was called often enough.
    const char* Stop();
    unsigned Failures() const;

    // What the DLL holds at this moment: blocks of memory, handles, keys ..., counted when they are handed out and
    // given back. A kind of which it holds none is missing.
    static std::map<std::string, long> Held();

private:
    void StartAnew(unsigned n);
};

}  // namespace qsn::test

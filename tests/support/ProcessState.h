#pragma once

#include <windows.h>

#include <tlhelp32.h>

#include <string_view>
#include <vector>

#include "support/Owned.h"

namespace qsn::test {

// Counted one by one, because Wine's GetProcessHandleCount counts none.
inline int HandleCount() {
    constexpr ULONG_PTR kFarBeyondOurs = 0x8000;
    int count = 0;
    for (ULONG_PTR value = 4; value < kFarBeyondOurs; value += 4) {
        DWORD flags = 0;
        if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags)) ++count;
    }
    return count;
}

inline int ThreadCount() {
    const Owned<HANDLE, CloseHandle> snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof(entry);
    int count = 0;
    for (BOOL more = Thread32First(snapshot.Get(), &entry); more; more = Thread32Next(snapshot.Get(), &entry)) {
        if (entry.th32OwnerProcessID == GetCurrentProcessId()) ++count;
    }
    return count;
}

// How many thread-local indexes the process has left.
inline int FreeTlsIndexes() {
    std::vector<DWORD> indexes;
    for (DWORD index = TlsAlloc(); index != TLS_OUT_OF_INDEXES; index = TlsAlloc()) indexes.push_back(index);
    for (DWORD index : indexes) TlsFree(index);
    return static_cast<int>(indexes.size());
}

// Calls `visit(block, size)` for all blocks that the heaps of the process have handed out. It must not ask for memory.
template <class Visit>
void ForEachBlock(Visit visit) {
    HANDLE heaps[64];
    const DWORD count = GetProcessHeaps(64, heaps);
    for (DWORD i = 0; i < count && i < 64; ++i) {
        HeapLock(heaps[i]);
        PROCESS_HEAP_ENTRY entry = {};
        while (HeapWalk(heaps[i], &entry)) {
            if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) visit(static_cast<const char*>(entry.lpData), entry.cbData);
        }
        HeapUnlock(heaps[i]);
    }
}

inline std::size_t HeapBytes() {
    std::size_t bytes = 0;
    ForEachBlock([&](const char*, DWORD size) { bytes += size; });
    return bytes;
}

// Whether the text is in a block. The text itself must not lie in one.
inline bool HeapHolds(std::string_view text) {
    bool holds = false;
    ForEachBlock([&](const char* block, DWORD size) {
        holds = holds || std::string_view(block, size).find(text) != std::string_view::npos;
    });
    return holds;
}

// Waits until `condition` holds, but not for ever: for what another thread or the system does.
template <class Condition>
bool Eventually(Condition condition, DWORD milliseconds = 10000) {
    const ULONGLONG end = GetTickCount64() + milliseconds;
    while (!condition()) {
        if (GetTickCount64() > end) return false;
        Sleep(10);
    }
    return true;
}

}  // namespace qsn::test

#pragma once

#include <windows.h>

#include <cstddef>
#include <new>

namespace qsn {

// Base of what a call of the system may still read and write after the DLL has gone. It lies on the process's own heap,
// where it can stay for good.
struct OnSystemHeap {
    static void* operator new(std::size_t size) {
        void* const memory = HeapAlloc(GetProcessHeap(), 0, size);
        if (!memory) throw std::bad_alloc();
        return memory;
    }
    static void operator delete(void* memory) noexcept { HeapFree(GetProcessHeap(), 0, memory); }
};

}  // namespace qsn

#pragma once

#include <windows.h>

#include <cstddef>
#include <ostream>

namespace qsn::test {

// What a process holds that could be left behind.
struct Holdings {
    std::size_t heapBytes = 0;
    int handles = 0;
    int threads = 0;
    int registryValues = 0;  // under the product's key
    int windowObjects = 0;   // of USER and GDI; 0 if the process has not even loaded those

    static Holdings Now();
};

std::ostream& operator<<(std::ostream& stream, const Holdings& holdings);

}  // namespace qsn::test

#pragma once

#include <windows.h>

#include <cstddef>

namespace qsn::test {

// Counted region by region, because Wine's process counters stay at 0.
inline std::size_t PrivateBytes() {
    std::size_t bytes = 0;
    MEMORY_BASIC_INFORMATION region = {};
    for (const char* address = nullptr; VirtualQuery(address, &region, sizeof(region)) != 0;) {
        if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE) bytes += region.RegionSize;
        address = static_cast<const char*>(region.BaseAddress) + region.RegionSize;
    }
    return bytes;
}

}  // namespace qsn::test

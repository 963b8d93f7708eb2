#pragma once

#include <windows.h>

#include <cstdint>

namespace qsn {

// Milliseconds of a clock that only goes forwards. Finer than GetTickCount64, by which a time limit would end up to
// 16 ms too early.
inline std::uint64_t Milliseconds() noexcept {
    LARGE_INTEGER frequency;
    LARGE_INTEGER now;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&now);
    const auto ticks = static_cast<std::uint64_t>(now.QuadPart);
    const auto perSecond = static_cast<std::uint64_t>(frequency.QuadPart);
    return ticks / perSecond * 1000 + ticks % perSecond * 1000 / perSecond;
}

}  // namespace qsn

#pragma once

#include <cstddef>
#include <string>

namespace qsn::soak {

// What a process uses of the machine.
struct Footprint {
    std::size_t privateBytes = 0;
    std::size_t heapBytes = 0;
    int handles = 0;
    int threads = 0;

    static Footprint Now();
    std::string Text() const;
};

// How much more a process may use at the end than after the settling time. Private bytes grow in large steps.
inline constexpr Footprint kMostGrowth{std::size_t{16} << 20, std::size_t{1} << 20, 8, 2};

// The growth in words. Sets *tooMuch if it is beyond the bound.
std::string GrowthText(const Footprint& before, const Footprint& now, bool* tooMuch);

}  // namespace qsn::soak

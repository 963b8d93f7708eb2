#pragma once

#include <windows.h>

#include <exception>
#include <new>
#include <type_traits>

namespace qsn {

// Runs `work` and turns what it throws into a result code, or into an outcome with one. It is the last line of defence
// at each border that promises codes.
template <class Work>
std::invoke_result_t<Work> Guarded(Work&& work) noexcept {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return {E_OUTOFMEMORY};
    } catch (...) {
        return {E_FAIL};
    }
}

}  // namespace qsn

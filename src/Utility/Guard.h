#pragma once

#include <windows.h>

#include <exception>
#include <new>

namespace qsn {

// Runs `work` and turns what it throws into a result code: the last line of defence at each border that promises codes.
template <class Work>
HRESULT Guarded(Work&& work) noexcept {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

}  // namespace qsn

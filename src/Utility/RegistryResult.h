#pragma once

#include <windows.h>

namespace qsn {

// The registry's own error numbers are positive and pass for success where results are tested with FAILED. For results
// that do not leave the library; hosts know the numbers as they are.
constexpr HRESULT FromRegistry(HRESULT result) { return result > 0 ? HRESULT_FROM_WIN32(result) : result; }

}  // namespace qsn

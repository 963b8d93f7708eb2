#pragma once

#include <windows.h>

namespace qsn {

// The registry's own error numbers are positive, and FAILED takes them for successes. For results that stay inside the
// library; hosts know the numbers as they are.
constexpr HRESULT FromRegistry(HRESULT result) { return result > 0 ? HRESULT_FROM_WIN32(result) : result; }

}  // namespace qsn

#pragma once

#include <windows.h>

namespace qsn {

// Non-zero where the platform reports a network connection; 0 also where the platform's probe is missing. The probe's
// library is loaded and freed at each call.
BOOL IsNetworkAlive();

}  // namespace qsn

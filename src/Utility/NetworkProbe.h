#pragma once

#include <windows.h>

#include "Utility/Win32Owners.h"

namespace qsn {

// Asks the platform whether there is a network. The platform's library is loaded at the first question and kept: to
// load and free it costs more than a whole exchange.
class NetworkProbe {
public:
    // Non-zero if the platform reports a connection; 0 also if the library is missing.
    BOOL IsNetworkAlive() noexcept;
    void Close() noexcept;

private:
    UniqueModule m_library;
    BOOL(WINAPI* m_probe)(DWORD* flags) = nullptr;
};

}  // namespace qsn

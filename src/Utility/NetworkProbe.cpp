#include "Utility/NetworkProbe.h"

#include "Utility/Win32Owners.h"

namespace qsn {

BOOL IsNetworkAlive() {
    const UniqueModule library(LoadLibraryW(L"Sensapi.DLL"));
    if (!library) return FALSE;
    const auto probe = FindFunction<BOOL WINAPI(DWORD*)>(library.Get(), "IsNetworkAlive");
    DWORD flags = 0;
    return probe ? probe(&flags) : FALSE;
}

}  // namespace qsn

#include "Utility/NetworkProbe.h"

#include "Utility/Win32Owners.h"

namespace qsn {

namespace {

// The host's own folder and the system's, but not the current folder, where anybody's file may lie.
constexpr DWORD kTrustedFolders = LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32;

}  // namespace

BOOL IsNetworkAlive() {
    const UniqueModule library(LoadLibraryExW(L"Sensapi.DLL", nullptr, kTrustedFolders));
    if (!library) return FALSE;
    const auto probe = FindFunction<BOOL WINAPI(DWORD*)>(library.Get(), "IsNetworkAlive");
    DWORD flags = 0;
    return probe ? probe(&flags) : FALSE;
}

}  // namespace qsn

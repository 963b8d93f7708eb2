#include "Utility/NetworkProbe.h"

namespace qsn {
namespace {

// The host's own folder and the system's, but not the current folder, where the file may be anybody's.
constexpr DWORD kTrustedFolders = LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32;

}  // namespace

BOOL NetworkProbe::IsNetworkAlive() noexcept {
    if (!m_library) {
        m_library.Reset(LoadLibraryExW(L"Sensapi.DLL", nullptr, kTrustedFolders));
        if (!m_library) return FALSE;
        m_probe = FindFunction<BOOL WINAPI(DWORD*)>(m_library.Get(), "IsNetworkAlive");
    }
    DWORD flags = 0;
    return m_probe ? m_probe(&flags) : FALSE;
}

void NetworkProbe::Close() noexcept {
    m_probe = nullptr;
    m_library.Reset();
}

}  // namespace qsn

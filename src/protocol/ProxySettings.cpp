#include "protocol/ProxySettings.h"

#include <windows.h>

namespace qsn {

// Stand-in until the real one is merged.
std::vector<std::string> ProxySettings::For(const std::string&, HANDLE, DWORD) {
    char text[256] = {};
    DWORD size = sizeof(text);
    DWORD enable = 0;
    DWORD four = 4;
    constexpr char kKey[] = "Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
    RegGetValueA(HKEY_CURRENT_USER, kKey, "ProxyEnable", RRF_RT_REG_DWORD, nullptr, &enable, &four);
    if (!enable || RegGetValueA(HKEY_CURRENT_USER, kKey, "ProxyServer", RRF_RT_REG_SZ, nullptr, text, &size))
        return {""};
    return {std::string("http://") + text};
}

}  // namespace qsn

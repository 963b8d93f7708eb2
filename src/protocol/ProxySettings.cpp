#include "protocol/ProxySettings.h"

#include <algorithm>

#include "Utility/Text.h"
#include "Utility/Win32Owners.h"
#include "protocol/ProxyRules.h"

namespace qsn {
namespace {

constexpr wchar_t kSettings[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
constexpr wchar_t kPolicy[] = L"Software\\Policies\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
constexpr DWORD kLongestValue = 1 << 16;  // bytes; beyond, it is rubbish

// The values' names are the documented ones, but for the flag of automatic detection: of that there is nothing else.
constexpr wchar_t kConnection[] = L"DefaultConnectionSettings";
constexpr std::size_t kConnectionFlags = 8;  // their place in it
constexpr char kAutoDetect = 8;

DWORD NumberValue(HKEY key, const wchar_t* subkey, const wchar_t* name, DWORD otherwise) {
    DWORD value = 0;
    DWORD size = sizeof(value);
    return RegGetValueW(key, subkey, name, RRF_RT_REG_DWORD, nullptr, &value, &size) ? otherwise : value;
}

// Empty if there is no such value, or none of `type`.
template <class Text>
Text Value(HKEY key, const wchar_t* subkey, const wchar_t* name, DWORD type) {
    constexpr DWORD kUnit = sizeof(typename Text::value_type);
    Text value(256, 0);
    DWORD size = 0;
    LSTATUS status = ERROR_MORE_DATA;
    while (status == ERROR_MORE_DATA && size <= kLongestValue) {
        value.resize(std::max<std::size_t>(value.size(), size / kUnit + 1));
        size = static_cast<DWORD>(value.size()) * kUnit;
        status = RegGetValueW(key, subkey, name, type, nullptr, value.data(), &size);
    }
    value.resize(status == ERROR_SUCCESS ? size / kUnit : 0);
    return value;
}

std::wstring TextValue(HKEY key, const wchar_t* name) {
    std::wstring text = Value<std::wstring>(key, nullptr, name, RRF_RT_REG_SZ);
    text.resize(std::min(text.find(L'\0'), text.size()));
    return text;
}

bool DetectsAutomatically(HKEY key) {
    const std::string connection = Value<std::string>(key, L"Connections", kConnection, RRF_RT_REG_BINARY);
    return connection.size() > kConnectionFlags && (connection[kConnectionFlags] & kAutoDetect) != 0;
}

// Of the machine, if an administrator wants the same for all of its users.
UniqueRegistryKey OpenSettings() {
    const bool isOfUser = NumberValue(HKEY_LOCAL_MACHINE, kPolicy, L"ProxySettingsPerUser", 1) != 0;
    UniqueRegistryKey key;
    RegOpenKeyExW(isOfUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE, kSettings, 0, KEY_QUERY_VALUE, key.Receive());
    return key;
}

std::vector<std::string> NamedProxies(HKEY key, const std::string& host) {
    if (NumberValue(key, nullptr, L"ProxyEnable", 0) == 0) return {};
    if (IsExcepted(WideToUtf8(TextValue(key, L"ProxyOverride")), host)) return {};
    return ProxiesIn(WideToUtf8(TextValue(key, L"ProxyServer")));
}

}  // namespace

// Read from the registry each time, which takes less than 0.1 ms, and not through WinINet: under Wine its query asks
// DHCP and name servers for a script, which nobody can break off, and knows no script's address.
std::vector<std::string> ProxySettings::For(const std::string& host, HANDLE breakOff, DWORD milliseconds) {
    const UniqueRegistryKey key = OpenSettings();
    if (!key) return {""};
    std::vector<std::string> ways;
    if (DetectsAutomatically(key.Get())) ways = m_detected.Ask({}, host, breakOff, milliseconds);
    const std::wstring script = ways.empty() ? TextValue(key.Get(), L"AutoConfigURL") : std::wstring();
    if (!script.empty()) ways = m_script.Ask(script, host, breakOff, milliseconds);
    if (ways.empty()) ways = NamedProxies(key.Get(), host);
    if (ways.empty()) ways.emplace_back();
    return ways;
}

}  // namespace qsn

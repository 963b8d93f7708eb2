#include "protocol/ProxySettings.h"

#include <algorithm>
#include <utility>

#include "Utility/Text.h"
#include "Utility/Win32Owners.h"
#include "protocol/ProxyRules.h"

namespace qsn {
namespace {

constexpr wchar_t kSettings[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
constexpr wchar_t kPolicies[] = L"Software\\Policies";
constexpr wchar_t kPolicy[] = L"Software\\Policies\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
constexpr DWORD kLongestValue = 1 << 16;  // bytes; beyond, it is rubbish

// The values' names are the documented ones, but for the flag of automatic detection: of that there is nothing else.
constexpr wchar_t kConnection[] = L"DefaultConnectionSettings";
constexpr std::size_t kConnectionFlags = 8;  // their place in it
constexpr char kAutoDetect = 8;

// The values of one key. One that is not there, or of another type, is read as if it were empty.
class ValueReader {
public:
    ValueReader(HKEY root, const wchar_t* path) {
        Note(RegOpenKeyExW(root, path, 0, KEY_QUERY_VALUE, m_key.Receive()));
    }

    DWORD Number(const wchar_t* name, DWORD otherwise) {
        DWORD value = 0;
        DWORD size = sizeof(value);
        return Note(Get(nullptr, name, RRF_RT_REG_DWORD, &value, &size)) ? value : otherwise;
    }
    std::wstring Text(const wchar_t* name) {
        std::wstring text = Value<std::wstring>(nullptr, name, RRF_RT_REG_SZ);
        text.resize(std::min(text.find(L'\0'), text.size()));
        return text;
    }
    std::string Bytes(const wchar_t* subkey, const wchar_t* name) {
        return Value<std::string>(subkey, name, RRF_RT_REG_BINARY);
    }
    // The system could not say what one of the values is.
    bool HasFailed() const noexcept { return m_hasFailed; }

private:
    LSTATUS Get(const wchar_t* subkey, const wchar_t* name, DWORD type, void* value, DWORD* size) const {
        return m_key ? RegGetValueW(m_key.Get(), subkey, name, type, nullptr, value, size) : ERROR_FILE_NOT_FOUND;
    }
    template <class Text>
    Text Value(const wchar_t* subkey, const wchar_t* name, DWORD type) {
        constexpr DWORD kUnit = sizeof(typename Text::value_type);
        Text value(256, 0);
        DWORD size = 0;
        LSTATUS status = ERROR_MORE_DATA;
        while (status == ERROR_MORE_DATA && size <= kLongestValue) {
            value.resize(std::max<std::size_t>(value.size(), size / kUnit + 1));
            size = static_cast<DWORD>(value.size()) * kUnit;
            status = Get(subkey, name, type, value.data(), &size);
        }
        value.resize(Note(status) ? size / kUnit : 0);
        return value;
    }
    bool Note(LSTATUS status) noexcept {
        m_hasFailed |= status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND && status != ERROR_MORE_DATA &&
                       status != ERROR_UNSUPPORTED_TYPE;
        return status == ERROR_SUCCESS;
    }

    UniqueRegistryKey m_key;
    bool m_hasFailed = false;
};

}  // namespace

// From the registry and not through WinINet: under Wine its query asks DHCP and name servers for a script, which nobody
// can break off, and knows no script's address.
ProxySettings::Values ProxySettings::Read() {
    Values values;
    // Of the machine, if an administrator wants the same for all of its users.
    ValueReader policy(HKEY_LOCAL_MACHINE, kPolicy);
    const bool isOfUser = policy.Number(L"ProxySettingsPerUser", 1) != 0;
    ValueReader settings(isOfUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE, kSettings);
    const std::string connection = settings.Bytes(L"Connections", kConnection);
    values.detects = connection.size() > kConnectionFlags && (connection[kConnectionFlags] & kAutoDetect) != 0;
    values.script = settings.Text(L"AutoConfigURL");
    if (settings.Number(L"ProxyEnable", 0) != 0) {
        values.named = ProxiesIn(WideToUtf8(settings.Text(L"ProxyServer")));
        values.exceptions = WideToUtf8(settings.Text(L"ProxyOverride"));
    }
    values.isWhole = !policy.HasFailed() && !settings.HasFailed();
    return values;
}

// Under Wine the seven values take a tenth of a request, so that they are read again only after a change. An
// administrator's policy may come into being anywhere below the policies' root.
void ProxySettings::Update() {
    if (m_watch.IsUnchanged()) return;
    RegistryWatch watch(
        {{HKEY_CURRENT_USER, kSettings}, {HKEY_LOCAL_MACHINE, kSettings}, {HKEY_LOCAL_MACHINE, kPolicies}});
    m_values = Read();
    m_watch = m_values.isWhole ? std::move(watch) : RegistryWatch();
}

std::vector<std::string> ProxySettings::For(const std::string& host, Interruption& interruption, DWORD milliseconds) {
    Update();
    std::vector<std::string> ways;
    if (m_values.detects) ways = m_detected.Ask({}, host, interruption, milliseconds);
    if (ways.empty() && !m_values.script.empty())
        ways = m_script.Ask(m_values.script, host, interruption, milliseconds);
    if (ways.empty() && !IsExcepted(m_values.exceptions, host)) ways = m_values.named;
    if (ways.empty()) ways.emplace_back();
    return ways;
}

}  // namespace qsn

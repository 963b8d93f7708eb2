#pragma once

#include <windows.h>

#include <optional>

namespace qsn::test {

// The user's trace switch, set to `value` or taken away, and put back at the end.
class DumpSwitch {
public:
    static constexpr int kAbsent = -1;

    explicit DumpSwitch(int value) {
        DWORD old = 0;
        DWORD size = sizeof(old);
        if (RegGetValueW(HKEY_CURRENT_USER, kKey, kName, RRF_RT_REG_DWORD, nullptr, &old, &size) == ERROR_SUCCESS) {
            m_old = old;
        }
        Set(value == kAbsent ? std::nullopt : std::optional(static_cast<DWORD>(value)));
    }
    DumpSwitch(const DumpSwitch&) = delete;
    DumpSwitch& operator=(const DumpSwitch&) = delete;
    ~DumpSwitch() { Set(m_old); }

private:
    static constexpr wchar_t kKey[] = L"Software\\Quillfern\\QSN";
    static constexpr wchar_t kName[] = L"DumpQSN";

    static void Set(std::optional<DWORD> value) {
        if (value) {
            RegSetKeyValueW(HKEY_CURRENT_USER, kKey, kName, REG_DWORD, &*value, sizeof(*value));
        } else {
            RegDeleteKeyValueW(HKEY_CURRENT_USER, kKey, kName);
        }
    }

    std::optional<DWORD> m_old;
};

}  // namespace qsn::test

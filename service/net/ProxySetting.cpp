#include "service/net/ProxySetting.h"

#include <system_error>

namespace qsn::service {
namespace {

constexpr wchar_t kSettingsKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
constexpr wchar_t kProxyEnable[] = L"ProxyEnable";
constexpr wchar_t kProxyServer[] = L"ProxyServer";

void Require(LSTATUS status, const char* call) {
    if (status != ERROR_SUCCESS) throw std::system_error(status, std::system_category(), call);
}

std::optional<DWORD> ReadNumber(HKEY key, const wchar_t* name) {
    DWORD value = 0;
    DWORD size = sizeof value;
    const LSTATUS status = RegGetValueW(key, nullptr, name, RRF_RT_REG_DWORD, nullptr, &value, &size);
    return status == ERROR_SUCCESS ? std::optional(value) : std::nullopt;
}

std::optional<std::wstring> ReadText(HKEY key, const wchar_t* name) {
    DWORD size = 0;
    if (RegGetValueW(key, nullptr, name, RRF_RT_REG_SZ, nullptr, nullptr, &size) != ERROR_SUCCESS) return std::nullopt;
    std::wstring value(size / sizeof(wchar_t), L'\0');
    if (RegGetValueW(key, nullptr, name, RRF_RT_REG_SZ, nullptr, value.data(), &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    value.resize(wcslen(value.c_str()));
    return value;
}

LSTATUS WriteNumber(HKEY key, const wchar_t* name, DWORD value) {
    return RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof value);
}

LSTATUS WriteText(HKEY key, const wchar_t* name, const std::wstring& value) {
    return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                          static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

}  // namespace

ProxySetting::ProxySetting(const std::wstring& server) {
    HKEY key = nullptr;
    Require(RegCreateKeyExW(HKEY_CURRENT_USER, kSettingsKey, 0, nullptr, 0, KEY_QUERY_VALUE | KEY_SET_VALUE, nullptr,
                            &key, nullptr),
            "RegCreateKeyExW");
    settings_.reset(key);
    enabledBefore_ = ReadNumber(key, kProxyEnable);
    serverBefore_ = ReadText(key, kProxyServer);
    try {
        Require(WriteText(key, kProxyServer, server), "RegSetValueExW");
        Require(WriteNumber(key, kProxyEnable, server.empty() ? 0 : 1), "RegSetValueExW");
    } catch (const std::system_error&) {
        Restore();
        throw;
    }
}

void ProxySetting::Restore() noexcept {
    if (enabledBefore_) {
        WriteNumber(settings_.get(), kProxyEnable, *enabledBefore_);
    } else {
        RegDeleteValueW(settings_.get(), kProxyEnable);
    }
    if (serverBefore_) {
        WriteText(settings_.get(), kProxyServer, *serverBefore_);
    } else {
        RegDeleteValueW(settings_.get(), kProxyServer);
    }
}

}  // namespace qsn::service

#pragma once

#include <windows.h>

#include <wininet.h>

#include <string>

namespace qsn::test {

// What the user's system goes through for the time of a fault.
class ProxySetting {
public:
    ProxySetting(DWORD enable, const std::string& server) : m_enable(Enable()), m_server(Server()) {
        Write(enable, server);
    }
    ProxySetting(const ProxySetting&) = delete;
    ProxySetting& operator=(const ProxySetting&) = delete;
    ~ProxySetting() { Write(m_enable, m_server); }

private:
    static constexpr char kKey[] = "Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";

    static DWORD Enable() {
        DWORD value = 0;
        DWORD size = sizeof(value);
        RegGetValueA(HKEY_CURRENT_USER, kKey, "ProxyEnable", RRF_RT_REG_DWORD, nullptr, &value, &size);
        return value;
    }
    static std::string Server() {
        char text[256] = {};
        DWORD size = sizeof(text);
        RegGetValueA(HKEY_CURRENT_USER, kKey, "ProxyServer", RRF_RT_REG_SZ, nullptr, text, &size);
        return text;
    }
    static void Write(DWORD enable, const std::string& server) {
        RegSetKeyValueA(HKEY_CURRENT_USER, kKey, "ProxyEnable", REG_DWORD, &enable, sizeof(enable));
        RegSetKeyValueA(HKEY_CURRENT_USER, kKey, "ProxyServer", REG_SZ, server.c_str(),
                        static_cast<DWORD>(server.size() + 1));
        InternetSetOptionW(nullptr, INTERNET_OPTION_SETTINGS_CHANGED, nullptr, 0);
    }

    DWORD m_enable;
    std::string m_server;
};

}  // namespace qsn::test

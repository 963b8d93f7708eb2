#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

namespace qsn::service {

// Sends the current user's HTTPS through the proxy on `port` and trusts `authorityDer`, until destruction puts both
// back. Meant for a throw-away Wine prefix or a test account. Create it before the process's first HTTPS request: the
// proxy and the trusted roots are read once a process. Throws std::system_error.
class UserConfiguration {
public:
    UserConfiguration(std::uint16_t port, std::span<const std::uint8_t> authorityDer);
    ~UserConfiguration();
    UserConfiguration(const UserConfiguration&) = delete;
    UserConfiguration& operator=(const UserConfiguration&) = delete;

private:
    struct KeyCloser {
        void operator()(HKEY key) const { RegCloseKey(key); }
    };
    using RegistryKey = std::unique_ptr<std::remove_pointer_t<HKEY>, KeyCloser>;

    void Restore() noexcept;

    RegistryKey settings_;
    std::optional<DWORD> enabledBefore_;
    std::optional<std::wstring> serverBefore_;
    std::vector<std::uint8_t> authorityDer_;
};

}  // namespace qsn::service

#pragma once

#include <windows.h>

#include <memory>
#include <optional>
#include <string>
#include <type_traits>

namespace qsn::service {

// Sends the current user's HTTPS through the proxy at `server`, "host:port", or through none if that is empty, until
// destruction puts back what was there. Throws std::system_error.
class ProxySetting {
public:
    explicit ProxySetting(const std::wstring& server);
    ~ProxySetting() { Restore(); }
    ProxySetting(const ProxySetting&) = delete;
    ProxySetting& operator=(const ProxySetting&) = delete;

private:
    struct KeyCloser {
        void operator()(HKEY key) const { RegCloseKey(key); }
    };
    using RegistryKey = std::unique_ptr<std::remove_pointer_t<HKEY>, KeyCloser>;

    void Restore() noexcept;

    RegistryKey settings_;
    std::optional<DWORD> enabledBefore_;
    std::optional<std::wstring> serverBefore_;
};

}  // namespace qsn::service

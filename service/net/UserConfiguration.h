#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "service/net/ProxySetting.h"

namespace qsn::service {

// Sends the current user's HTTPS through the proxy on `port` and trusts `authorityDer`, until destruction puts both
// back. Meant for a throw-away Wine prefix or a test account. Create it before the process's first HTTPS request: the
// trusted roots are read once in a process. Throws std::system_error.
class UserConfiguration {
public:
    UserConfiguration(std::uint16_t port, std::span<const std::uint8_t> authorityDer);
    ~UserConfiguration();
    UserConfiguration(const UserConfiguration&) = delete;
    UserConfiguration& operator=(const UserConfiguration&) = delete;

private:
    ProxySetting proxy_;
    std::vector<std::uint8_t> authorityDer_;
};

}  // namespace qsn::service

#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <string>

namespace qsn::service {

// Makes member tokens: JWTs whose three parts are Base64 of the standard alphabet without padding, because the library
// decodes that alphabet only. Signed with a key that lives as long as the issuer. Any thread may call.
class JwtIssuer {
public:
    JwtIssuer();

    // Issued now; a lifetime that is not positive makes a token that has expired.
    std::string Issue(int memberId, std::chrono::seconds lifetime) const;
    // Any payload, for what no honest issuer would say.
    std::string Sign(const std::string& payload) const;

private:
    std::array<std::uint8_t, 32> key_{};
};

}  // namespace qsn::service

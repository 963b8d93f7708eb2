#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <string>

namespace qsn::service {

// Makes member tokens: JWTs whose three parts are Base64 of the standard alphabet without padding, because the library
// decodes that alphabet only. The key that signs them lives as long as the issuer. Any thread may call.
class JwtIssuer {
public:
    JwtIssuer();

    // Issued now. If the lifetime is not positive, the token has expired already.
    std::string Issue(int memberId, std::chrono::seconds lifetime) const;
    // Any payload, even one that no honest issuer would sign.
    std::string Sign(const std::string& payload) const;

private:
    std::array<std::uint8_t, 32> key_{};
};

}  // namespace qsn::service

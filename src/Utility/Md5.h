#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "Utility/CryptoApiOwners.h"

namespace qsn {

// MD5 through the platform's CryptoAPI, as 32 lower-case hexadecimal digits. A failure is reported in the text itself
// ("E_INVALID_HASHSIZE", "Error acquiring context", ...): anything that is not `IsMD5Hex` is not a hash.
std::string MD5Hex(std::span<const std::uint8_t> bytes, std::uint8_t* raw = nullptr, std::size_t rawSize = 0);
// Hashes up to the first NUL only.
std::string MD5HexOfString(std::string_view text, std::uint8_t* raw = nullptr, std::size_t rawSize = 0);
// RFC 2104 with MD5, through a provider context that the caller has.
std::string HmacMD5Hex(const UniqueCryptProvider& provider, std::string_view message, std::string_view key);
inline constexpr char kHmacOutOfMemory[] = "OUT_OF_MEMORY";  // one of its failures

bool IsMD5Hex(std::string_view text);

}  // namespace qsn

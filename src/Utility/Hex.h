#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace qsn {

// The bytes as pairs of lower-case hexadecimal digits.
std::string BytesToHex(std::span<const std::uint8_t> bytes);
// Takes digits of either case. Nothing if `hex` has an odd length or a character that is not a hexadecimal digit.
std::optional<std::string> HexToBytes(std::string_view hex);

}  // namespace qsn

#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace qsn {

// The bytes as pairs of lower-case hexadecimal digits.
std::string BytesToHex(std::span<const std::uint8_t> bytes);
// Takes digits of either case. False, with `bytes` untouched, where `hex` has an odd length or a character that is no
// hexadecimal digit.
bool HexToBytes(std::string_view hex, std::string* bytes);

}  // namespace qsn

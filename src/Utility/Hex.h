#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace qsn {

// The bytes as pairs of lower-case hexadecimal digits.
std::string BytesToHex(std::span<const std::uint8_t> bytes);
// Takes digits of either case. False, with `bytes` untouched, if `hex` has an odd length or a character that is not
// a hexadecimal digit.
bool HexToBytes(std::string_view hex, std::string* bytes);

}  // namespace qsn

#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Utility/Outcome.h"

namespace qsn {

// Base64 in lines of 76 characters separated by CR LF, the form of the shared token store. The text ends
// neither with a line break nor with a NUL. `capacity` holds the buffer's size on entry and the text's length on
// return. Returns 1, or 0 if the buffer is missing or too small; then nothing has been written.
int Base64EncodeLines(std::span<const std::uint8_t> bytes, char* text, std::uint32_t* capacity);
// Reads up to the end of `text` or its first NUL and skips every character outside the alphabet. `capacity` holds the
// buffer's size on entry and the decoded length on return, even if that is more than the buffer takes (result 0).
int Base64DecodeLines(std::string_view text, std::uint8_t* bytes, std::uint32_t* capacity);

// Base64 on a single line, the form of the member-auth exchange.
Outcome<std::string> Base64Encode(std::span<const std::uint8_t> bytes);
Outcome<std::vector<std::uint8_t>> Base64Decode(std::string_view text);

}  // namespace qsn

#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "Utility/SecretText.h"

namespace qsn {

// Encryption by the system, without a key of our own. Nothing if the system refuses.
//
// Any user of this machine can decrypt the result, because some applications of the suite run as services and share it.
std::optional<std::vector<std::uint8_t>> ProtectForMachine(std::string_view text);
// All bytes that were protected, NULs included. ERROR_SUCCESS, or the system's error number.
DWORD Unprotect(std::span<const std::uint8_t> bytes, SecretText* text);
// True if these bytes can never be decrypted here. False if the system only could not do it this time.
bool IsFaultOfTheData(DWORD unprotectError);

}  // namespace qsn

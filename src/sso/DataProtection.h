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
// Any user of this machine can decrypt the result: the suite's applications run partly as services, and share it.
std::optional<std::vector<std::uint8_t>> ProtectForMachine(std::string_view text);
// All bytes that were protected, NULs included. ERROR_SUCCESS, or the system's error number.
DWORD Unprotect(std::span<const std::uint8_t> bytes, SecretText* text);
// Whether it says that these bytes can never be decrypted here, and not that the system could not do it just now.
bool IsFaultOfTheData(DWORD unprotectError);

}  // namespace qsn

#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qsn {

// The values of the user's registry key that the suite's applications share. Any of them may change or vanish at any
// moment, so each function is one access to one value. Writing and deleting create the key where it is missing and
// return the registry's own error number; deleting what is not there is a success.

// Up to the first NUL, which need not be there. Nothing where the value is missing, no text, or longer than `capacity`.
std::optional<std::string> ReadSharedText(const char* name, DWORD capacity);
std::optional<std::uint32_t> ReadSharedNumber(const char* name);

LSTATUS WriteSharedText(const char* name, std::string_view text);
LSTATUS WriteSharedNumber(const char* name, std::uint32_t number);
LSTATUS DeleteSharedValue(const char* name);

}  // namespace qsn

#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qsn {

// The registry's own error numbers are positive, and FAILED takes them for successes. This is for results that stay
// inside the library. Hosts know the numbers as they are.
constexpr HRESULT FromRegistry(HRESULT result) { return result > 0 ? HRESULT_FROM_WIN32(result) : result; }

// The values of the user's registry key that the suite's applications share. Any of them may change or vanish at any
// moment, so each function is one access to one value and returns the registry's own error number.

// Up to the first NUL, which need not be there. Success with nothing: the value is missing, or cannot hold a token,
// because it has another type or is longer than `capacity`. A failure says nothing about the value.
LSTATUS ReadSharedText(const char* name, DWORD capacity, std::optional<std::string>* text);
LSTATUS ReadSharedNumber(const char* name, std::optional<std::uint32_t>* number);

// Writing and deleting create the key if it is missing. To delete what is not there is a success.
LSTATUS WriteSharedText(const char* name, std::string_view text);
LSTATUS WriteSharedNumber(const char* name, std::uint32_t number);
LSTATUS DeleteSharedValue(const char* name);
// Only if it still holds the text that was read, so that what another application has written since then stays.
LSTATUS DeleteSharedText(const char* name, DWORD capacity, const std::string& expected);

}  // namespace qsn

#pragma once

#include <string>
#include <string_view>

namespace qsn {

// Conversions between the wide texts of Windows and the UTF-8 of the service. What cannot be converted becomes the
// replacement character of the target, never a failure.
std::string WideToUtf8(std::wstring_view text);
std::wstring Utf8ToWide(std::string_view text);

}  // namespace qsn

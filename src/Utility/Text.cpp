#include "Utility/Text.h"

#include <windows.h>

namespace qsn {

std::string WideToUtf8(std::wstring_view text) {
    const int length = static_cast<int>(text.size());
    const int needed = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string converted(static_cast<std::size_t>(needed), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, converted.data(), needed, nullptr, nullptr);
    return converted;
}

std::wstring Utf8ToWide(std::string_view text) {
    const int length = static_cast<int>(text.size());
    const int needed = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
    std::wstring converted(static_cast<std::size_t>(needed), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), length, converted.data(), needed);
    return converted;
}

}  // namespace qsn

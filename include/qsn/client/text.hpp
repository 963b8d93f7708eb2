/* Texts between UTF-8 and UTF-16. Part of <qsn/client.hpp>. */
#pragma once

#include <qsn/qsn.h>

#include <stdexcept>
#include <string>

namespace qsn {
namespace detail {

inline int CheckedLength(std::size_t length) {
    // What Windows' functions can count, with room to grow in between.
    if (length > 0x3FFFFFFF) throw std::length_error("text too long to be converted");
    return static_cast<int>(length);
}

}  // namespace detail

/*
 * Both keep embedded zeros and put U+FFFD in place of invalid text. Any thread may call them. They throw
 * std::length_error beyond 2^30 - 1 units.
 */
inline std::wstring ToWide(const std::string& utf8) {
    const int length = detail::CheckedLength(utf8.size());
    const int needed = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(needed), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, &wide[0], needed);
    return wide;
}

inline std::string ToUtf8(const std::wstring& wide) {
    const int length = detail::CheckedLength(wide.size());
    const int needed = WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(needed), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, &utf8[0], needed, nullptr, nullptr);
    return utf8;
}

}  // namespace qsn

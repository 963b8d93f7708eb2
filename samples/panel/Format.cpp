#include "Format.h"

#include <windows.h>

#include <shlwapi.h>

#include <qsn/client.hpp>

#include <cstdlib>

namespace sample {
namespace {

bool AreDigits(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

WORD Number(const std::string& text, std::size_t start, std::size_t length) {
    return static_cast<WORD>(std::strtoul(text.substr(start, length).c_str(), nullptr, 10));
}

}  // namespace

std::wstring FormatSize(const std::string& bytes) {
    wchar_t text[32];
    if (!AreDigits(bytes) || bytes.size() > 18) return qsn::ToWide(bytes);
    return StrFormatByteSizeW(std::strtoll(bytes.c_str(), nullptr, 10), text, 32) ? text : qsn::ToWide(bytes);
}

std::wstring FormatDate(const std::string& date) {
    if (!AreDigits(date) || date.size() != 8) return qsn::ToWide(date);
    SYSTEMTIME time = {};
    time.wYear = Number(date, 0, 4);
    time.wMonth = Number(date, 4, 2);
    time.wDay = Number(date, 6, 2);
    wchar_t text[80];
    // Fails for dates such as the 31st of February.
    return GetDateFormatEx(LOCALE_NAME_USER_DEFAULT, DATE_SHORTDATE, &time, nullptr, text, 80, nullptr)
               ? text
               : qsn::ToWide(date);
}

}  // namespace sample

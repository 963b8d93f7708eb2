#include "Utility/DateUtility.h"

#include <algorithm>
#include <ctime>

namespace qsn {
namespace {

constexpr std::size_t kDateLength = 8;
constexpr int kFirstYear = 1900;
constexpr std::int64_t kSecondsPerDay = 86400;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

WORD Number(std::string_view digits) {
    int number = 0;
    for (const char digit : digits) number = 10 * number + (digit - '0');
    return static_cast<WORD>(number);
}

bool IsWithin(int value, int first, int last) { return value >= first && value <= last; }

std::int64_t TimeOf(const SYSTEMTIME& date) {
    if (date.wYear < kFirstYear) return 0;
    return MakeTime(date.wYear, date.wMonth, date.wDay, date.wHour, date.wMinute, date.wSecond);
}

}  // namespace

std::optional<SYSTEMTIME> ParseDate(std::string_view text) {
    text = text.substr(0, kDateLength);
    if (text.size() < kDateLength || !std::ranges::all_of(text, IsDigit)) return std::nullopt;
    SYSTEMTIME date{};
    date.wYear = Number(text.substr(0, 4));
    date.wMonth = Number(text.substr(4, 2));
    date.wDay = Number(text.substr(6));
    return date;
}

std::int64_t MakeTime(int year, int month, int day, int hour, int minute, int second) {
    if (year < kFirstYear || !IsWithin(month, 1, 12) || !IsWithin(day, 1, 31) || !IsWithin(hour, 0, 23) ||
        !IsWithin(minute, 0, 59) || !IsWithin(second, 0, 59))
        throw DateError{E_FAIL};
    std::tm fields{};
    fields.tm_year = year - kFirstYear;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    fields.tm_min = minute;
    fields.tm_sec = second;
    fields.tm_isdst = -1;
    const std::int64_t time = std::mktime(&fields);
    if (time < 0) throw DateError{E_INVALIDARG};
    return time;
}

bool IsPastDays(const SYSTEMTIME& date, int days) {
    return (days * kSecondsPerDay + TimeOf(date) - std::time(nullptr)) / kSecondsPerDay < 0;
}

std::int64_t DaysBetween(const SYSTEMTIME& a, const SYSTEMTIME& b) { return (TimeOf(a) - TimeOf(b)) / kSecondsPerDay; }

}  // namespace qsn

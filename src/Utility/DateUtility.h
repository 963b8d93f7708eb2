#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string_view>

namespace qsn {

// Dates as the service sends them. A record with a year below 1900 stands for "no date".

// Thrown by `MakeTime`, and by the functions below it if `MakeTime` refuses a date.
struct DateError {
    HRESULT code;
};

// The date at the beginning of a text, in the form YYYYMMDD.
std::optional<SYSTEMTIME> ParseDate(std::string_view text);

// Seconds since 1970 of a local time. Throws DateError with E_FAIL for a field out of range and with E_INVALIDARG for
// a time that the C runtime cannot express.
std::int64_t MakeTime(int year, int month, int day, int hour, int minute, int second);

// Whether `date` plus `days` lies at least a whole day before now.
bool IsPastDays(const SYSTEMTIME& date, int days);

// Whole days from `b` to `a`, truncated towards zero.
std::int64_t DaysBetween(const SYSTEMTIME& a, const SYSTEMTIME& b);

}  // namespace qsn

// Dates as the service writes them, and what is computed from them.
#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

#include "Utility/DateUtility.h"
#include "support/Require.h"

namespace {

SYSTEMTIME CheckText(std::string_view text) {
    const std::optional<SYSTEMTIME> date = qsn::ParseDate(text);
    const std::string_view digits = text.substr(0, 8);
    REQUIRE(date.has_value() == (digits.size() == 8 && digits.find_first_not_of("0123456789") == digits.npos));
    if (!date) return {};
    char again[32];
    std::snprintf(again, sizeof(again), "%04d%02d%02d", date->wYear, date->wMonth, date->wDay);
    REQUIRE(again == digits && date->wHour == 0);
    return *date;
}

bool IsWithin(int value, int first, int last) { return value >= first && value <= last; }

bool IsSound(int year, int month, int day, int hour, int minute, int second) {
    return year >= 1900 && IsWithin(month, 1, 12) && IsWithin(day, 1, 31) && IsWithin(hour, 0, 23) &&
           IsWithin(minute, 0, 59) && IsWithin(second, 0, 59);
}

// Nothing for what MakeTime refuses.
std::optional<std::int64_t> TimeOf(int year, int month, int day, int hour, int minute, int second) {
    const bool isSound = IsSound(year, month, day, hour, minute, second);
    try {
        const std::int64_t time = qsn::MakeTime(year, month, day, hour, minute, second);
        REQUIRE(isSound);
        return time;
    } catch (const qsn::DateError& error) {
        REQUIRE(error.code == (isSound ? E_INVALIDARG : E_FAIL));
        return std::nullopt;
    }
}

// In UTC, compared with the calendar of the C++ library.
void CheckTime(int year, int month, int day, int hour, int minute, int second) {
    using namespace std::chrono;
    const auto time = TimeOf(year, month, day, hour, minute, second);
    if (!IsSound(year, month, day, hour, minute, second) || year > 9999) return;
    const auto firstOfMonth = sys_days(std::chrono::year(year) / month / 1);
    const auto expected = sys_seconds(firstOfMonth + days(day - 1)) + hours(hour) + minutes(minute) + seconds(second);
    REQUIRE(time.has_value() == (expected.time_since_epoch().count() >= 0));
    REQUIRE(!time || *time == expected.time_since_epoch().count());
}

bool IsExpressible(const SYSTEMTIME& date) {
    return date.wYear < 1900 || TimeOf(date.wYear, date.wMonth, date.wDay, date.wHour, date.wMinute, date.wSecond);
}

void CheckDays(const SYSTEMTIME& a, const SYSTEMTIME& b, int days) {
    if (!IsExpressible(a) || !IsExpressible(b)) return;
    REQUIRE(qsn::DaysBetween(a, b) == -qsn::DaysBetween(b, a));
    REQUIRE(qsn::DaysBetween(a, a) == 0);
    // What is past for a limit is past for a shorter one.
    REQUIRE(!qsn::IsPastDays(a, days) || days == INT_MIN || qsn::IsPastDays(a, days - 1));
}

template <class Record>
Record Take(const std::uint8_t*& data, std::size_t& size) {
    Record record{};
    const std::size_t count = std::min(size, sizeof(record));
    std::memcpy(&record, data, count);
    data += count;
    size -= count;
    return record;
}

struct Numbers {
    int year, days;
    std::int8_t month, day, hour, minute, second;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) { return setenv("TZ", "UTC0", 1); }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const SYSTEMTIME a = CheckText(text);
    const SYSTEMTIME b = CheckText(text.substr(std::min<std::size_t>(size, 8)));
    const auto numbers = Take<Numbers>(data, size);
    for (const int year : {numbers.year, 1900 + numbers.year % 1000})
        CheckTime(year, numbers.month, numbers.day, numbers.hour, numbers.minute, numbers.second);
    CheckDays(a, b, numbers.days);
    return 0;
}

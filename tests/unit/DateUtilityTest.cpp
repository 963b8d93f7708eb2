#include "Utility/DateUtility.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ctime>

namespace qsn::test {
namespace {

constexpr std::int64_t kDay = 86400;

SYSTEMTIME Date(WORD year, WORD month, WORD day) {
    SYSTEMTIME date = {};
    date.wYear = year;
    date.wMonth = month;
    date.wDay = day;
    return date;
}

SYSTEMTIME DateOf(std::time_t time) {
    const std::tm& fields = *std::localtime(&time);
    SYSTEMTIME date = Date(static_cast<WORD>(fields.tm_year + 1900), static_cast<WORD>(fields.tm_mon + 1),
                           static_cast<WORD>(fields.tm_mday));
    date.wHour = static_cast<WORD>(fields.tm_hour);
    date.wMinute = static_cast<WORD>(fields.tm_min);
    date.wSecond = static_cast<WORD>(fields.tm_sec);
    return date;
}

TEST(ParseDate, FillsTheWholeRecordOrLeavesIt) {
    for (const char* const text : {"20260228Tail", "", "2026022", "2026O228", "2026-228", " 2026022", "+2026022"}) {
        SYSTEMTIME date;
        std::memset(&date, 0xFF, sizeof(date));
        const SYSTEMTIME expected = std::strchr(text, 'T') ? Date(2026, 2, 28) : date;
        ParseDate(text, std::strlen(text), &date);
        EXPECT_EQ(0, std::memcmp(&expected, &date, sizeof(date))) << text;
    }
    ParseDate("20260228", 8, nullptr);
    ParseDate(nullptr, 8, nullptr);
}

TEST(MakeTime, IsTheInverseOfTheLocalTime) {
    for (const std::time_t time : {std::time_t{90000}, std::time_t{951782400}, std::time_t{1784000000}}) {
        const SYSTEMTIME d = DateOf(time);
        EXPECT_EQ(time, MakeTime(d.wYear, d.wMonth, d.wDay, d.wHour, d.wMinute, d.wSecond));
    }
}

TEST(MakeTime, RefusesBadFields) {
    const struct {
        int year, month, day, hour, minute, second;
        HRESULT code;
    } cases[] = {{1899, 1, 1, 0, 0, 0, E_FAIL},      {2026, 0, 1, 0, 0, 0, E_FAIL},  {2026, 13, 1, 0, 0, 0, E_FAIL},
                 {2026, 1, 0, 0, 0, 0, E_FAIL},      {2026, 1, 32, 0, 0, 0, E_FAIL}, {2026, 1, 1, 24, 0, 0, E_FAIL},
                 {2026, 1, 1, 0, -1, 0, E_FAIL},     {2026, 1, 1, 0, 60, 0, E_FAIL}, {2026, 1, 1, 0, 0, 60, E_FAIL},
                 {1900, 1, 1, 0, 0, 0, E_INVALIDARG}};
    for (const auto& c : cases) {
        try {
            MakeTime(c.year, c.month, c.day, c.hour, c.minute, c.second);
            ADD_FAILURE() << c.year << '-' << c.month << '-' << c.day << ' ' << c.hour << ':' << c.minute;
        } catch (const DateError& error) {
            EXPECT_EQ(c.code, error.code);
        }
    }
}

TEST(IsPastDays, CountsWholeDays) {
    const std::time_t now = std::time(nullptr);
    EXPECT_TRUE(IsPastDays(SYSTEMTIME{}, 0)) << "no date lies at the beginning of time";
    EXPECT_FALSE(IsPastDays(DateOf(now - kDay + 60), 0)) << "less than a day ago";
    EXPECT_TRUE(IsPastDays(DateOf(now - kDay), 0));
    EXPECT_FALSE(IsPastDays(DateOf(now - 10 * kDay), 10));
    EXPECT_TRUE(IsPastDays(DateOf(now - 10 * kDay), 9));
    EXPECT_FALSE(IsPastDays(DateOf(now + 5 * kDay), 0));
}

TEST(DaysBetween, TruncatesTowardsZero) {
    SYSTEMTIME noon = Date(2026, 1, 10);
    noon.wHour = 12;
    EXPECT_EQ(1, DaysBetween(noon, Date(2026, 1, 9)));
    EXPECT_EQ(-1, DaysBetween(Date(2026, 1, 9), noon));
    EXPECT_EQ(0, DaysBetween(Date(2026, 1, 10), noon));
    EXPECT_EQ(59, DaysBetween(Date(2024, 3, 1), Date(2024, 1, 2)));
}

}  // namespace
}  // namespace qsn::test

#include "Utility/DateUtility.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <ctime>
#include <tuple>

namespace qsn::test {
namespace {

constexpr std::int64_t kDay = 86400;

SYSTEMTIME DateOf(std::int64_t time) {
    const std::int64_t ticks = (time + 11644473600) * 10000000;
    const FILETIME fileTime = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
    SYSTEMTIME utc, local;
    FileTimeToSystemTime(&fileTime, &utc);
    SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local);
    return local;
}

TEST(ParseDate, TakesEightDigits) {
    const SYSTEMTIME expected{2026, 2, 0, 28, 0, 0, 0, 0};
    const auto date = ParseDate("20260228Tail");
    EXPECT_TRUE(date && std::memcmp(&expected, &*date, sizeof(expected)) == 0);
    for (const char* const text : {"", "2026022", "2026O228", "+2026022"}) EXPECT_FALSE(ParseDate(text)) << text;
}

TEST(MakeTime, IsTheInverseOfTheLocalTimeAndRefusesBadFields) {
    for (const int time : {90000, 951782400, 1784000000}) {
        const SYSTEMTIME d = DateOf(time);
        EXPECT_EQ(time, MakeTime(d.wYear, d.wMonth, d.wDay, d.wHour, d.wMinute, d.wSecond));
    }
    constexpr std::pair<std::size_t, int> kBadFields[] = {{0, 1899}, {1, 0},  {1, 13}, {2, 0},  {2, 32},
                                                          {3, 24},   {4, -1}, {4, 60}, {5, 60}, {0, 1900}};
    for (const auto& [field, value] : kBadFields) {
        std::array fields = {2026, 1, 1, 0, 0, 0};
        fields[field] = value;
        try {
            std::apply(MakeTime, fields);
            ADD_FAILURE() << "field " << field << " is " << value;
        } catch (const DateError& error) {
            EXPECT_EQ(value == 1900 ? E_INVALIDARG : E_FAIL, error.code);
        }
    }
}

TEST(Days, AreWholeOnes) {
    const std::time_t now = std::time(nullptr);
    EXPECT_TRUE(IsPastDays(SYSTEMTIME{}, 0)) << "no date lies at the beginning of time";
    EXPECT_FALSE(IsPastDays(DateOf(now - kDay + 60), 0)) << "less than a day ago";
    EXPECT_FALSE(IsPastDays(DateOf(now - 10 * kDay), 10));
    EXPECT_TRUE(IsPastDays(DateOf(now - 10 * kDay), 9));
    const SYSTEMTIME noon = DateOf(100 * kDay + kDay / 2), before = DateOf(99 * kDay + 1), same = DateOf(100 * kDay);
    EXPECT_EQ(1, DaysBetween(noon, before));
    EXPECT_EQ(-1, DaysBetween(before, noon));
    EXPECT_EQ(0, DaysBetween(same, noon));
}

}  // namespace
}  // namespace qsn::test

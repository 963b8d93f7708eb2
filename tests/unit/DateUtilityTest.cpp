#include "Utility/DateUtility.h"

#include <gtest/gtest.h>

#include <ctime>

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

TEST(MakeTime, IsTheInverseOfTheLocalTime) {
    for (const int time : {90000, 951782400, 1784000000}) {
        const SYSTEMTIME d = DateOf(time);
        EXPECT_EQ(time, MakeTime(d.wYear, d.wMonth, d.wDay, d.wHour, d.wMinute, d.wSecond));
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

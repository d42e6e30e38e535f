#include "host/sharing/share_usage.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace Vexo::Host {
namespace {

using namespace std::chrono_literals;
using std::chrono::local_days;

constexpr const char* PHONE = "02:00:5e:10:00:01";

local_days Day(int year, int month, int day)
{
    return local_days(std::chrono::year(year) / month / day);
}

TEST(ShareUsage, MonthBeginsOnItsDayOrLastDayOfShorterMonth)
{
    const struct {
        local_days day;
        uint32_t firstDay;
        local_days month;
    } cases[] = {
        {Day(2036, 11, 18), 1, Day(2036, 11, 1)},   {Day(2036, 11, 18), 18, Day(2036, 11, 18)},
        {Day(2036, 11, 18), 19, Day(2036, 10, 19)}, {Day(2036, 1, 1), 2, Day(2035, 12, 2)},
        {Day(2036, 11, 29), 31, Day(2036, 10, 31)}, {Day(2036, 11, 30), 31, Day(2036, 11, 30)},
        {Day(2036, 2, 28), 30, Day(2036, 1, 30)},   {Day(2036, 2, 29), 30, Day(2036, 2, 29)},
        {Day(2035, 2, 28), 31, Day(2035, 2, 28)},   {Day(2035, 3, 30), 31, Day(2035, 2, 28)},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(MonthOf(one.day, one.firstDay), one.month) << (&one - cases);
    }
}

class ShareUsageTest : public ::testing::Test {
protected:
    ShareUsageTest() { setenv("TZ", "EST5", 1); }

    void Count(uint64_t received, uint64_t sent = 0, const std::string& mac = PHONE)
    {
        now_.boot += 10s;
        now_.wall += 10s;
        info_.stations = {{mac, received, sent}};
        usage_.OnHotspotState(info_, now_);
    }
    void SetDate(local_days day)
    {
        now_.wall = BeginningOf(day) + 12h;
        usage_.OnTime(now_);
    }

    ShareTime now_{SteadyTime(1h), BeginningOf(Day(2036, 11, 18))};
    Wifi::ShareInfo info_{
        .isOn = true, .isOpenedHere = true, .openingNumber = 1, .areStationsKnown = true, .stations = {}};
    ShareUsage usage_{1, SharingRecord{}, now_};
};

TEST_F(ShareUsageTest, StationBytesAreCountedOnceAcrossCounterResets)
{
    Count(100, 10);
    Count(150, 10);
    EXPECT_EQ(usage_.MonthBytes(), 160U);
    Count(20, 30);
    EXPECT_EQ(usage_.MonthBytes(), 200U) << "it joined again: 20 more received, 20 more sent";
    ++info_.openingNumber;
    Count(40, 30);
    EXPECT_EQ(usage_.MonthBytes(), 270U) << "another hotspot";
    Count(5, 0, "02:00:5e:10:00:02");
    Count(40, 30);
    EXPECT_EQ(usage_.MonthBytes(), 275U) << "not seen in one look";
    EXPECT_EQ(usage_.Stations().at(PHONE).bytes, 70U);
    info_.isOpenedHere = false;
    Count(90, 30);
    EXPECT_EQ(usage_.MonthBytes(), 275U) << "the owner's own hotspot";
    EXPECT_EQ(usage_.Stations().at(PHONE).bytes, 120U);
}

TEST_F(ShareUsageTest, MonthEndsByDateAndNotWhenClockGoesBack)
{
    Count(100);
    SetDate(Day(2036, 10, 5));
    SetDate(Day(2036, 11, 30));
    EXPECT_EQ(usage_.MonthBytes(), 100U);
    SharingRecord record;
    usage_.Store(record);
    const ShareUsage restarted(1, record, {now_.boot, WallTime()});
    EXPECT_EQ(restarted.MonthBytes(), 100U) << "a start with a clock that lost its date";
    SetDate(Day(2036, 12, 1));
    EXPECT_EQ(usage_.MonthBytes(), 0U);
    EXPECT_EQ(usage_.MonthDay(), Day(2036, 12, 1));

    SetDate(Day(2086, 12, 1));
    Count(300);
    SetDate(Day(2036, 12, 2));
    EXPECT_EQ(usage_.MonthBytes(), 200U);
    now_.boot += 31 * 24h;
    SetDate(Day(2037, 1, 2));
    EXPECT_EQ(usage_.MonthBytes(), 0U) << "the clock was fifty years ahead once";
}

}  // namespace
}  // namespace Vexo::Host

#include "platform/wifi/station.h"

#include <gtest/gtest.h>

#include "tests/support/manual_timers.h"
#include "tests/support/recorded_sys_events.h"

namespace Vexo::Wifi {
namespace {

using std::chrono::seconds;
using State = Station::State;

const WifiDeviceConfig GARDEN{-1, "Garden", "", "", ""};
const LinkEnd GONE = HotspotGone();

TEST(StationTest, ObservationsOfReplacedOrEndedAttemptAreIgnored)
{
    const Tests::RecordedSysEvents events;
    Station station;
    const uint32_t old = station.Begin({-1, "Cellar", "", "", ""}, seconds(1)).value();
    station.Advance(old, State::JOINING);
    const uint32_t latest = station.Begin(GARDEN, seconds(1)).value();
    const auto changes = [&](uint32_t attempt) {
        return station.Advance(attempt, State::JOINING) || station.OnConnected(attempt, "", "192.0.2.7") ||
               station.OnEnded(attempt, GONE);
    };
    EXPECT_FALSE(changes(old));
    EXPECT_EQ(station.Current().state, State::SEARCHING);
    EXPECT_EQ(station.OnEnded(latest, GONE), WifiLinkState::FAILED);
    EXPECT_FALSE(changes(latest));
    EXPECT_EQ(station.LinkInfo().state, WifiLinkState::FAILED);
    EXPECT_EQ(events.Lines(), std::vector<std::string>{"NET_WIFI_JOIN_FAIL REASON NOT_VISIBLE"});
}

TEST(StationTest, EachAttemptHasFullSearchLimit)
{
    Tests::ManualTimers clock;
    Station station(clock);
    for (int attempt = 0; attempt < 2; ++attempt) {
        station.Begin(GARDEN, seconds(30));
        EXPECT_EQ(station.Current().searchLeft, seconds(30));
        clock.Advance(seconds(29));
        EXPECT_EQ(station.Current().searchLeft, seconds(1));
        clock.Advance(seconds(2));
        EXPECT_EQ(station.Current().searchLeft, seconds(0));
    }
}

TEST(StationTest, NothingIsReportedAfterStop)
{
    const Tests::RecordedSysEvents events;
    Station station;
    const uint32_t attempt = station.Begin(GARDEN, seconds(1)).value();
    station.Stop();
    EXPECT_FALSE(station.OnConnected(attempt, "", "192.0.2.7"));
    EXPECT_FALSE(station.OnEnded(attempt, GONE));
    EXPECT_FALSE(station.Begin(GARDEN, seconds(1)));
    EXPECT_EQ(station.WaitForChange(station.LinkInfo(), std::chrono::hours(1)).state, WifiLinkState::CONNECTING);
    EXPECT_TRUE(events.Lines().empty());
}

}  // namespace
}  // namespace Vexo::Wifi

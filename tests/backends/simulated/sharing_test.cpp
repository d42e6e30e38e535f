// Tests what simulated devices report about their hotspot's stations, their uplinks and their networks.
#include <gtest/gtest.h>

#include <atomic>

#include "backends/simulated/uplink.h"
#include "platform/base/files.h"
#include "tests/backends/simulated/simulated_world.h"
#include "tests/support/recorded_sys_events.h"

namespace Vexo::Simulated {
namespace {

using Kind = Network::Uplink::Kind;
using Network::OnlineVerdict;
using Tests::Eventually;
using Tests::TestDevice;

constexpr std::chrono::seconds LIMIT{5};

class SharingTest : public testing::Test {
protected:
    void OpenHotspot() { ASSERT_EQ(phone_.Hotspot()->EnableHotspot(Wifi::ServiceType::DEFAULT), Wifi::WIFI_OK); }
    // Connects the laptop to the phone's hotspot. Returns the number of the connection attempt.
    uint32_t Join()
    {
        Wifi::HotspotConfig offered;
        phone_.Hotspot()->GetHotspotConfig(offered);
        Wifi::WifiDeviceConfig config{-1, offered.GetSsid(), "", offered.GetPreSharedKey(), "WPA-PSK"};
        const auto station = laptop_.Station();
        EXPECT_EQ(station->AddDeviceConfig(config, config.networkId, true), Wifi::WIFI_OK);
        EXPECT_EQ(station->ConnectToDevice(config), Wifi::WIFI_OK);
        EXPECT_TRUE(Eventually([&] { return laptop_.StationControl().Joined().has_value(); }));
        return station->GetLinkInfo().attempt;
    }
    OnlineVerdict Check()
    {
        const auto never = [] { return false; };
        return laptop_.Network().CheckOnline(laptop_.StationControl().Joined().value_or(Wifi::JoinedNetwork{}),
                                             std::chrono::steady_clock::now() + LIMIT, never);
    }

    const Tests::TempFolder folder_;
    TestDevice phone_{folder_.Path(), "phone", "7f3a11"};
    TestDevice laptop_{folder_.Path(), "laptop", "b04d22", {"network.wifi=office"}};
};

TEST_F(SharingTest, StationIsReportedWithBytesUntilItLeaves)
{
    OpenHotspot();
    const uint32_t attempt = Join();
    const Wifi::JoinedNetwork joined = laptop_.StationControl().Joined().value();
    EXPECT_EQ(joined.security, "WPA2");
    const auto stations = phone_.Share().ReadState().stations;
    ASSERT_EQ(stations.size(), 1U);
    EXPECT_EQ(stations[0].macAddress, joined.macAddress);
    laptop_.Set({"wifi.received_bytes=3000", "wifi.sent_bytes=200"});
    EXPECT_TRUE(Eventually([&] {
        const auto seen = phone_.Share().ReadState().stations;
        return seen.size() == 1 && seen[0].sentBytes == 3000 && seen[0].receivedBytes == 200;
    }));

    EXPECT_FALSE(laptop_.StationControl().Leave(attempt + 1, LIMIT)->hasLeft);
    EXPECT_TRUE(laptop_.StationControl().Joined());
    const auto left = laptop_.StationControl().Leave(attempt, LIMIT);
    ASSERT_TRUE(left);
    EXPECT_TRUE(left->hasLeft);
    EXPECT_EQ(left->backOn, "office");
    EXPECT_FALSE(laptop_.StationControl().Joined());
    EXPECT_TRUE(phone_.Share().ReadState().stations.empty());
    std::vector<Wifi::WifiDeviceConfig> configs;
    EXPECT_EQ(laptop_.Station()->GetDeviceConfigs(configs, false), Wifi::WIFI_OK);
    EXPECT_TRUE(configs.empty());
}

TEST_F(SharingTest, OnlyHeldRecordOfThisHotspotCountsAsStation)
{
    OpenHotspot();
    const std::filesystem::path air = phone_.Options().airDir;
    const std::string bssid = Air(air, "7f3a11").Bssid();
    StationPresence held(Air(air, "cc01"));
    const StationRecord mine{bssid, "06:00:00:00:00:01"};
    ASSERT_TRUE(WriteFileAtomically(air / "station-dead.json", SerializeStationRecord(mine), 0644));
    EXPECT_TRUE(phone_.Share().ReadState().stations.empty()) << "left by a crash";
    ASSERT_TRUE(held.Put({"02:00:00:00:00:09", "06:00:00:00:00:01"}));
    EXPECT_TRUE(phone_.Share().ReadState().stations.empty()) << "a station of another hotspot";
    ASSERT_TRUE(held.Put(mine));
    EXPECT_EQ(phone_.Share().ReadState().stations.size(), 1U);
    held.Remove();
    EXPECT_TRUE(phone_.Share().ReadState().stations.empty());
}

TEST_F(SharingTest, OnlyHotspotOpenedByThisDeviceIsClosed)
{
    const Tests::RecordedSysEvents events;
    std::atomic<int> changes = 0;
    phone_.Share().SetListener([&] { ++changes; });
    OpenHotspot();
    EXPECT_TRUE(phone_.Share().ReadState().isOpenedHere);
    EXPECT_TRUE(phone_.Share().Close(Wifi::ShareClosed::RELEASED));
    EXPECT_TRUE(phone_.Air().empty()) << "a close returns when the hotspot is off";
    EXPECT_TRUE(phone_.Share().Close(Wifi::ShareClosed::RELEASED));
    OpenHotspot();
    EXPECT_EQ(phone_.Share().ReadState().openingNumber, 2U);
    EXPECT_TRUE(Eventually([&] { return changes == 3; }));
    phone_.Share().SetListener({});
    phone_.Set({"hotspot.active_at_start=true"});
    phone_.End();
    phone_.Start();
    EXPECT_EQ(phone_.Share().Close(Wifi::ShareClosed::RELEASED).error().code, ErrorCode::REFUSED);
    EXPECT_TRUE(phone_.Share().ReadState().isOn);
    phone_.End();
    EXPECT_EQ(events.Lines(),
              (std::vector<std::string>{"NET_SHARE_CLOSED REASON RELEASED", "NET_SHARE_CLOSED REASON DAEMON_STOPPED"}));
    phone_.Start();
}

TEST_F(SharingTest, OnlineCheckReportsUplinkOfHotspotDevice)
{
    OpenHotspot();
    Join();
    EXPECT_EQ(Check(), OnlineVerdict::ONLINE);
    phone_.Set({"cellular_data=false"});
    EXPECT_TRUE(Eventually([&] { return Check() == OnlineVerdict::NO_INTERNET; }));
    laptop_.Set({"wifi.online_check=unknown"});
    EXPECT_TRUE(Eventually([&] { return Check() == OnlineVerdict::UNKNOWN; }));
    laptop_.Set({"wifi.online_check=air"});
    EXPECT_TRUE(Eventually([&] { return Check() == OnlineVerdict::NO_INTERNET; }));
    const auto now = [] { return true; };
    EXPECT_EQ(laptop_.Network().CheckOnline({}, SteadyTime::max(), now), OnlineVerdict::UNKNOWN);
}

TEST_F(SharingTest, SituationFollowsStateAndStation)
{
    std::atomic<int> changes = 0;
    Network::NetworkMonitor& network = laptop_.Network();
    network.SetListener([&] { ++changes; });
    EXPECT_TRUE(network.Situation().hasNetwork);
    OpenHotspot();
    Join();
    EXPECT_TRUE(network.Situation().isJoinedHere);
    EXPECT_TRUE(Eventually([&] { return changes == 1; }));
    const uint32_t scan = network.Situation().scan;
    laptop_.Set({"network.wifi=", "network.in_reach=home:40,office:80"});
    EXPECT_TRUE(Eventually([&] { return network.Situation().scan != scan; }));
    ASSERT_EQ(network.Situation().inReach.size(), 2U);
    EXPECT_EQ(network.Situation().inReach[0].name, "office");
    laptop_.Set({"network.left_by_hand=on"});
    EXPECT_TRUE(Eventually([&] { return network.Situation().wasDisconnectedByUser; }));
    EXPECT_FALSE(network.Situation().hasNetwork);
    EXPECT_EQ(laptop_.Station()->GetLinkInfo().state, Wifi::WifiLinkState::DISCONNECTED);
    network.SetListener({});
}

TEST(UplinkTest, UplinkIsBestConnectionOfState)
{
    const struct {
        std::vector<std::string> assignments;
        bool isJoined;
        Kind kind;
        bool hasInternet;
        bool isMobileDataOff;
    } cases[] = {
        {{}, false, Kind::MOBILE, true, false},
        {{"uplink.internet=off"}, false, Kind::MOBILE, false, false},
        {{"cellular_data=false"}, false, Kind::NONE, false, true},
        {{"radio.0=off"}, false, Kind::NONE, false, false},
        {{"sims.0.state=locked", "cellular_data=false"}, false, Kind::NONE, false, false},
        {{"cellular_data=false", "uplink.internet=on"}, false, Kind::MOBILE, true, true},
        {{"network.wifi=office"}, false, Kind::WIFI, true, false},
        {{"network.wifi=office", "cellular_data=false"}, true, Kind::NONE, false, true},
        {{"network.wifi=office", "network.wire=on"}, false, Kind::WIRE, true, false},
    };
    for (const auto& c : cases) {
        DeviceState state;
        std::string trace;
        for (const std::string& text : c.assignments) {
            const size_t equals = text.find('=');
            ASSERT_TRUE(SetByPath(state, text.substr(0, equals), text.substr(equals + 1))) << text;
            trace += text + " ";
        }
        const Network::Uplink uplink = UplinkOf(state, c.isJoined);
        EXPECT_EQ(uplink.kind, c.kind) << trace;
        EXPECT_EQ(uplink.hasInternet, c.hasInternet) << trace;
        EXPECT_EQ(uplink.isMobileDataOff, c.isMobileDataOff) << trace;
    }
}

}  // namespace
}  // namespace Vexo::Simulated

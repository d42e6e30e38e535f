// Tests ShareControl and StationControl with NetworkManager: the list of the hotspot's users, the reasons why the
// hotspot closes, and leaving a network.
#include "tests/backends/linux/network_manager_wifi_test.h"

namespace Vexo::Tests {
namespace {

using Wifi::ServiceType;
using Wifi::ShareInfo;
using Wifi::WifiLinkState;

class WifiControlTest : public NetworkManagerWifiTest {
protected:
    uint32_t JoinGarden()
    {
        EXPECT_EQ(Join().state, WifiLinkState::CONNECTED);
        return laptop_.Station()->GetLinkInfo().attempt;
    }
    void ExpectLeft(const Result<Wifi::LeftNetwork>& left, bool hasLeft, const std::string& backOn)
    {
        ASSERT_TRUE(left) << left.error().message;
        EXPECT_EQ(left.value().hasLeft, hasLeft);
        EXPECT_EQ(left.value().backOn, backOn);
    }
};

TEST_F(WifiControlTest, ShareReportsUsersAndIsClosedWithReason)
{
    phone_.Start();
    Wifi::ShareControl& share = *phone_.Hotspot();
    std::atomic<int> changes{0};
    share.SetListener([&] { ++changes; });
    EXPECT_FALSE(share.ReadState().isOn);
    phone_.stations = 2;
    ASSERT_EQ(phone_.Hotspot()->EnableHotspot(ServiceType::DEFAULT), Wifi::WIFI_OK);
    ASSERT_TRUE(Eventually([&] { return share.ReadState().stations.size() == 2; }));
    const ShareInfo opened = share.ReadState();
    EXPECT_TRUE(opened.isOn && opened.isOpenedHere && opened.areStationsKnown);
    EXPECT_EQ(opened.openingNumber, 1U);
    EXPECT_EQ(opened.stations[0].receivedBytes, 2000U);

    EXPECT_TRUE(share.Close(Wifi::ShareClosed::RELEASED));
    EXPECT_TRUE(Has(Phone(), "\"active\": []")) << "it is off when the call returns";
    EXPECT_FALSE(share.ReadState().isOn);
    EXPECT_TRUE(share.ReadState().stations.empty());
    EXPECT_TRUE(share.Close(Wifi::ShareClosed::DATA_LIMIT)) << "none is on";
    EXPECT_EQ(events_.Lines(), ClosedFor("RELEASED"));

    ShareGarden();
    ASSERT_TRUE(Eventually([&] { return share.ReadState().isOn; }));
    EXPECT_FALSE(share.ReadState().isOpenedHere);
    EXPECT_EQ(share.ReadState().openingNumber, 2U);
    EXPECT_EQ(share.Close(Wifi::ShareClosed::RELEASED).error().code, ErrorCode::REFUSED);
    EXPECT_TRUE(Eventually([&] { return changes == 3; })) << changes;
    share.SetListener(nullptr);
}

TEST_F(WifiControlTest, LeavingJoinedNetworkRestoresPreviousOne)
{
    BeAtHome(air_.Laptop());
    ShareGarden();
    laptop_.Start();
    Wifi::StationControl& station = *laptop_.Station();
    EXPECT_FALSE(station.Joined());
    const uint32_t attempt = JoinGarden();
    const std::optional<Wifi::JoinedNetwork> joined = station.Joined();
    ASSERT_TRUE(joined);
    EXPECT_EQ(joined->attempt, attempt);
    EXPECT_EQ(joined->ssid + " " + joined->security + " " + joined->interface, "Garden WPA2 wlan1");
    EXPECT_EQ(joined->address + " " + joined->gateway, "10.42.0.17 10.42.0.1");
    EXPECT_EQ(joined->nameServers, std::vector<std::string>{"10.42.0.1"});
    EXPECT_EQ(joined->macAddress, "02:00:5e:10:00:0a");

    ExpectLeft(station.Leave(attempt + 1, WAIT_LIMIT), false, "");
    EXPECT_TRUE(station.Joined()) << "another attempt was named";
    ExpectLeft(station.Leave(attempt, WAIT_LIMIT), true, "far away");
    EXPECT_TRUE(Has(Laptop(), ActiveIs(Air::USERS_NETWORK))) << "it is joined when the call returns";
    EXPECT_EQ(laptop_.Station()->GetLinkInfo().reason, "disconnected on request");
    EXPECT_FALSE(station.Joined());
    EXPECT_FALSE(laptop_.Station()->WasDisconnectedByUser());
    ExpectAsBefore(laptop_, Air::USERS_NETWORK, Air::USERS_NETWORK);
    ExpectLeft(station.Leave(attempt, WAIT_LIMIT), false, "far away");
}

TEST_F(WifiControlTest, LeavingCancelsSearchingAttempt)
{
    laptop_.Options().station.searchLimit = WAIT_LIMIT;
    BeAtHome(air_.Laptop());
    laptop_.Start();
    ASSERT_EQ(laptop_.Station()->ConnectToDevice({-1, "Cellar", "", "not-a-real-key", ""}), Wifi::WIFI_OK);
    ExpectLeft(laptop_.Station()->Leave(laptop_.Station()->GetLinkInfo().attempt, WAIT_LIMIT), true, "far away");
    EXPECT_EQ(laptop_.Station()->GetLinkInfo().state, WifiLinkState::FAILED);
    EXPECT_EQ(events_.Lines(), std::vector<std::string>{"NET_WIFI_JOIN_FAIL REASON ENDED_HERE"});
}

TEST_F(WifiControlTest, LeavingReportsMissingPreviousNetworkOrAnswer)
{
    laptop_.Options().answerLimit = std::chrono::milliseconds(500);
    ShareGarden();
    laptop_.Start();
    ExpectLeft(laptop_.Station()->Leave(JoinGarden(), WAIT_LIMIT), true, "");
    const uint32_t attempt = JoinGarden();
    Lose(air_.Laptop(), "GetConnectionByUuid", 1);
    const Result<Wifi::LeftNetwork> left = laptop_.Station()->Leave(attempt, WAIT_LIMIT);
    ASSERT_FALSE(left);
    EXPECT_EQ(left.error().code, ErrorCode::UNAVAILABLE);
    ExpectAsBefore(laptop_, "", "");
}

}  // namespace
}  // namespace Vexo::Tests

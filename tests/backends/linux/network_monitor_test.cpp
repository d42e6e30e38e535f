#include "backends/linux/network_monitor.h"

#include <optional>

#include "tests/backends/linux/network_manager_wifi_test.h"
#include "tests/platform/network/name_server.h"

namespace Vexo::Tests {
namespace {

using Network::OnlineVerdict;
using Network::Uplink;
using std::chrono::milliseconds;
using Wifi::WifiLinkState;

bool Never()
{
    return false;
}

class NetworkMonitorTest : public NetworkManagerWifiTest {
protected:
    ~NetworkMonitorTest() override
    {
        monitor_.reset();
        modems_->Stop();
    }
    void StartMonitor(uint16_t dnsPort = 53)
    {
        laptop_.Start();
        monitor_ = std::make_unique<Linux::LinuxNetworkMonitor>(bus_, modems_, laptop_.Station(), dnsPort);
    }
    void Laptop(const std::string& command) { Do(air_.Laptop(), command); }
    OnlineVerdict Check(milliseconds limit, const std::function<bool()>& isCancelled = Never)
    {
        Wifi::JoinedNetwork network;
        network.interface = isOnLoopback_ ? "lo" : "wlan1";
        network.nameServers = {"127.0.0.1"};
        return monitor_->CheckOnline(network, Clock::System().Now() + limit, isCancelled);
    }

    const std::shared_ptr<Linux::Bus> bus_ = Linux::Bus::Open(air_.Laptop().Address());
    const std::shared_ptr<Linux::Modems> modems_ = std::make_shared<Linux::Modems>(bus_, [](const Linux::Presence&) {});
    std::unique_ptr<Linux::LinuxNetworkMonitor> monitor_;
    bool isOnLoopback_ = true;
};

TEST_F(NetworkMonitorTest, UplinkIsConnectionThatHotspotWouldShare)
{
    StartMonitor();
    EXPECT_EQ(monitor_->CurrentUplink().kind, Uplink::Kind::NONE);
    BeAtHome(air_.Laptop());
    EXPECT_EQ(monitor_->CurrentUplink().kind, Uplink::Kind::NONE) << "the only radio becomes the hotspot";
    const struct {
        const char* command;
        Uplink::Kind kind;
        std::optional<bool> isMetered;
    } cases[] = {
        {R"({"do": "connect_by", "kind": "802-3-ethernet"})", Uplink::Kind::WIRE, std::nullopt},
        {R"({"do": "connect_by", "kind": "802-3-ethernet", "metered": 4})", Uplink::Kind::WIRE, false},
        {R"({"do": "connect_by", "kind": "gsm", "metered": 3})", Uplink::Kind::MOBILE, true},
    };
    for (const auto& [command, kind, isMetered] : cases) {
        Laptop(command);
        const Uplink uplink = monitor_->CurrentUplink();
        EXPECT_EQ(uplink.kind, kind) << command;
        EXPECT_EQ(uplink.isMetered, isMetered) << command;
        EXPECT_EQ(uplink.hasInternet, std::nullopt) << "nobody checks";
    }
    Laptop(R"({"do": "check", "connectivity": 3})");
    EXPECT_EQ(monitor_->CurrentUplink().hasInternet, std::optional(false));
    Laptop(R"({"do": "check", "connectivity": 4})");
    EXPECT_EQ(monitor_->CurrentUplink().hasInternet, std::optional(true));
    // If NetworkManager does not answer, CurrentUplink() reports no uplink and returns within 2 s.
    Lose(air_.Laptop(), "GetAll", 1);
    const SteadyTime begun = Clock::System().Now();
    EXPECT_EQ(monitor_->CurrentUplink().kind, Uplink::Kind::NONE);
    EXPECT_LT(Clock::System().Now() - begun, std::chrono::seconds(2));
}

TEST_F(NetworkMonitorTest, SituationDistinguishesUsersNetworksFromJoinedOnes)
{
    StartMonitor();
    ShareGarden();
    std::atomic<int> changes{0};
    monitor_->SetListener([&] { ++changes; });
    EXPECT_FALSE(monitor_->Situation().hasNetwork);
    BeAtHome(air_.Laptop());
    EXPECT_TRUE(Eventually([&] { return changes > 0; }));
    EXPECT_TRUE(monitor_->Situation().hasNetwork);
    EXPECT_FALSE(monitor_->Situation().isJoinedHere);
    ASSERT_EQ(Join().state, WifiLinkState::CONNECTED);
    EXPECT_TRUE(monitor_->Situation().isJoinedHere);
    Laptop(R"({"do": "deactivate"})");
    EXPECT_TRUE(Eventually([&] { return monitor_->Situation().wasDisconnectedByUser; }));

    Laptop(R"({"do": "connect_by", "kind": "802-3-ethernet", "connectivity": 3})");
    EXPECT_TRUE(monitor_->Situation().hasOwnWire) << "nobody checks";
    Laptop(R"({"do": "check", "connectivity": 3})");
    EXPECT_FALSE(monitor_->Situation().hasOwnWire) << "it leads nowhere";
    Laptop(R"({"do": "connect_by", "kind": "802-3-ethernet", "connectivity": 4})");
    EXPECT_TRUE(monitor_->Situation().hasOwnWire);
    monitor_->OnUseChanged(true);
    EXPECT_TRUE(monitor_->Situation().isSessionActive);
    monitor_->SetListener(nullptr);
    const int before = changes;
    Laptop(R"({"do": "disconnect_wire"})");
    EXPECT_FALSE(monitor_->Situation().hasNetwork);
    EXPECT_EQ(changes, before);
}

TEST_F(NetworkMonitorTest, SavedNetworksAreInReachIfScannedAndJoinable)
{
    StartMonitor();
    const auto save = [&](const std::string& uuid, const std::string& ssid, bool isManual) {
        Linux::AccessPoint open;
        Linux::SettingsMap profile = Linux::MakeStationProfile(uuid, {-1, ssid, "", "", ""}, open);
        profile["connection"]["id"] = "my " + ssid;
        profile["connection"].erase("autoconnect");
        if (isManual) {
            profile["connection"]["autoconnect"] = false;
        }
        Air::StoreProfile(air_.Laptop().Bus(), profile);
    };
    save("44444444-4444-4444-8444-444444444441", "Office", false);
    save("44444444-4444-4444-8444-444444444442", "Home", false);
    save("44444444-4444-4444-8444-444444444443", "Hotel", true);
    Air::StoreProfile(air_.Laptop().Bus(), HotspotProfile("Cellar", KEY, Wifi::KeyMgmt::WPA2_PSK));
    const uint32_t before = monitor_->Situation().scan;
    Laptop(R"({"do": "scan", "networks": {"Office": 40, "Home": 80, "Hotel": 90, "Cellar": 90, "Strange": 90}})");
    const Network::NetworkSituation seen = monitor_->Situation();
    EXPECT_NE(seen.scan, before);
    ASSERT_EQ(seen.inReach.size(), 2U);
    EXPECT_EQ(seen.inReach[0].name, "my Home");
    EXPECT_EQ(seen.inReach[0].strengthPercent, 80);
    EXPECT_EQ(seen.inReach[1].name, "my Office");
    ShareGarden();
    save("44444444-4444-4444-8444-444444444444", "Garden", false);
    EXPECT_EQ(monitor_->Situation().inReach.at(1).name, "my Garden");
    ASSERT_EQ(Join().state, WifiLinkState::CONNECTED);
    EXPECT_EQ(monitor_->Situation().inReach.at(1).name, "my Office") << "this daemon has joined it";
    Laptop(R"({"do": "scan", "networks": {"Office": 40}, "age": 60})");
    EXPECT_TRUE(monitor_->Situation().inReach.empty()) << "NetworkManager keeps what earlier scans saw";
}

TEST_F(NetworkMonitorTest, OnlineVerdictFollowsNetworkManagerCheckOfRadio)
{
    StartMonitor();
    isOnLoopback_ = false;
    const struct {
        int overall;
        int ofRadio;
        OnlineVerdict verdict;
    } cases[] = {
        {4, 4, OnlineVerdict::ONLINE},      {4, 0, OnlineVerdict::ONLINE},
        {4, 2, OnlineVerdict::NO_INTERNET},  // The cable has internet access, but the Wi-Fi has a captive portal.
        {3, 3, OnlineVerdict::NO_INTERNET}, {1, 1, OnlineVerdict::NO_INTERNET},
    };
    for (const auto& [overall, ofRadio, verdict] : cases) {
        Laptop(R"({"do": "check", "connectivity": )" + std::to_string(overall) + R"(, "of_radio": )" +
               std::to_string(ofRadio) + "}");
        EXPECT_EQ(Check(milliseconds(verdict == OnlineVerdict::ONLINE ? 30000 : 700)), verdict)
            << overall << " " << ofRadio;
    }
    int looks = 0;
    const SteadyTime begun = Clock::System().Now();
    EXPECT_NE(Check(WAIT_LIMIT, [&] { return ++looks > 2; }), OnlineVerdict::ONLINE);
    EXPECT_LT(Clock::System().Now() - begun, WAIT_LIMIT / 2);
}

TEST_F(NetworkMonitorTest, NameServersOfLeaseAreAskedWithoutNetworkManagerCheck)
{
    std::vector<Bytes> answers(3, Answer({NS_RECORD}));
    answers.resize(9, Answer({ADDRESS_RECORD}));
    NameServer nameServer(answers);
    StartMonitor(nameServer.Port());
    EXPECT_EQ(Check(WAIT_LIMIT), OnlineVerdict::ONLINE) << "none is configured";
    Laptop(R"({"do": "check", "connectivity": 0})");
    EXPECT_EQ(Check(WAIT_LIMIT), OnlineVerdict::ONLINE) << "it does not know";
    Laptop(R"({"do": "check", "connectivity": 4})");
    Lose(air_.Laptop(), "CheckConnectivity", 1);
    EXPECT_EQ(Check(milliseconds(2000)), OnlineVerdict::ONLINE) << "it does not answer";
    Laptop(R"({"do": "check", "connectivity": 0})");
    EXPECT_EQ(Check(milliseconds(300)), OnlineVerdict::NO_INTERNET) << "it knows no name server of the root";
    isOnLoopback_ = false;
    EXPECT_EQ(Check(milliseconds(300)), OnlineVerdict::UNKNOWN) << "this machine has no such interface";
}

}  // namespace
}  // namespace Vexo::Tests

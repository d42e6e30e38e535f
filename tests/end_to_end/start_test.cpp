// Tests the command start with two real daemons of one account. Covers a start in each direction, and what the user
// sees when joining fails.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <sstream>
#include <thread>

#include "tests/end_to_end/world.h"

namespace Vexo::EndToEnd {
namespace {

class StartTest : public testing::Test {
protected:
    void SetUp() override { world_.StartLaptopAndPhone(); }
    Device& Laptop() { return world_["laptop"]; }
    Device& Phone() { return world_["phone"]; }

    World world_;
};

TEST_F(StartTest, StartJoinsPeerHotspotWithTimingAndTrace)
{
    const std::filesystem::path trace = world_.Path() / "trace.json";
    ASSERT_EQ(Laptop().Ctl({"trace", "start"}).exitCode, 0);
    const Finished start = Laptop().Ctl({"--json", "start", "phone", "--timing"});
    EXPECT_EQ(start.exitCode, 0) << start.output;
    EXPECT_THAT(start.output, testing::ContainsRegex("\"timing\":.\"collaboration_ms\":[0-9.]+,\"seek_ms\":null,.*"
                                                     "\"handshake_ms\":[0-9.]+,\"session_ms\":[0-9.]+,"
                                                     "\"answer_ms\":[0-9.]+,\"wifi_ms\":[0-9.]+,\"total_ms\":"));
    EXPECT_EQ(Laptop().Status("wifi.state"), "connected");
    EXPECT_NE(Laptop().Status("wifi.address"), "");
    EXPECT_THAT(Laptop().Ctl({"status"}).output, testing::HasSubstr("\nreachable   phone over LAN 127.0.0.1:"));
    const Finished events = Laptop().Ctl({"--json", "events", "--since", "10m"});
    EXPECT_THAT(events.output,
                testing::ContainsRegex(".*_BEHAVIOR.*[}]\n.*DIST_NETWORK_SUCCESS.*[}]\n.*NET_ONLINE_SUCCESS.*[}]\n$"));
    ASSERT_EQ(Laptop().Ctl({"trace", "stop", trace}).exitCode, 0);
    for (const char* span : {"collaboration start", "TLS handshake", "send", "Wi-Fi connect", "NetworkAsync"}) {
        EXPECT_THAT(ReadText(trace), testing::HasSubstr(span));
    }
    for (const std::string& written : {ReadText(trace), Laptop().Events(), Laptop().Log()}) {
        EXPECT_THAT(written, testing::Not(testing::HasSubstr(Phone().NetworkId())));
    }
    for (Device* device : {&Laptop(), &Phone()}) {
        std::istringstream log(device->Log());
        for (std::string line; std::getline(log, line);) {
            EXPECT_TRUE(line.find(" E ") == std::string::npos || IsUsualError(line)) << device->Name() << ": " << line;
        }
    }
}

TEST_F(StartTest, RestartedDaemonReachesKnownPeerAndExplainsFailures)
{
    ASSERT_EQ(Laptop().Stop(), 0);
    std::filesystem::remove(world_.Path() / "link" / (Phone().NetworkId() + ".json"));
    Laptop().Start();
    EXPECT_EQ(Laptop().Ask(Phone().NetworkId()), 0) << Laptop().Log();
    ASSERT_EQ(Phone().Stop(), 0);
    ASSERT_TRUE(Eventually([&] { return !Laptop().Sees(Phone().NetworkId()); }));
    EXPECT_THAT(Laptop().Ctl({"devices"}).output, testing::ContainsRegex("phone .* ago +away +LAN 127.0.0.1:[0-9]+\n"));
    const std::pair<std::string, const char*> cases[] = {{"phone", "phone is away since"},
                                                         {"laptop", "\"laptop\" is this device itself"},
                                                         {std::string(64, 'e'), "no device of this account is"}};
    for (const auto& [word, message] : cases) {
        EXPECT_THAT(Laptop().Ctl({"start", word}).output, testing::HasSubstr(message));
    }
}

TEST_F(StartTest, ScanFindsNewDeviceAndStopsOnInterrupt)
{
    // The tablet is announced, but it cannot answer because it is frozen. The phone is frozen too, so the scan also
    // waits for the phone.
    ASSERT_EQ(Laptop().Stop(), 0);
    Device& tablet = world_.Add("tablet");
    tablet.Start();
    tablet.Daemon().Signal(SIGSTOP);
    Laptop().Start();
    Phone().Daemon().Signal(SIGSTOP);
    Process scan({DISTNET_BIN_DIR "/distnetctl", "--socket", Laptop().Socket(), "devices", "--scan"},
                 world_.Path() / "scan.log");
    ASSERT_TRUE(Eventually([&] { return scan.Output() == "trying every device\n"; }));
    EXPECT_EQ(Laptop().Ctl({"--timeout", "0.2", "start", "nobody"}).exitCode, 2);
    EXPECT_EQ(scan.Output(), "trying every device\n") << "start waited for the whole scan";
    scan.Signal(SIGINT);
    EXPECT_EQ(scan.Wait(), 130);

    Process start({DISTNET_BIN_DIR "/distnetctl", "--socket", Laptop().Socket(), "start", "tablet"},
                  world_.Path() / "start.log");
    ASSERT_TRUE(Eventually([&] { return start.Output() == "looking for tablet nearby\n"; })) << start.Output();
    tablet.Daemon().Signal(SIGCONT);
    EXPECT_TRUE(Eventually([&] { return Laptop().Sees(tablet.NetworkId()); })) << Laptop().Log();
    Phone().Daemon().Signal(SIGCONT);
    EXPECT_EQ(start.Wait(), 0) << start.Output();

    const Finished unknown = Laptop().Ctl({"start", "tabled"});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_THAT(unknown.output, testing::ContainsRegex("looking for tabled nearby\n.*no trusted device is called "
                                                       "\"tabled\"; did you mean \"tablet\"[?]\n.*not nearby either"));
    EXPECT_THAT(Laptop().Ctl({"stop", "tabled"}).output, testing::Not(testing::HasSubstr("nearby")));
}

TEST_F(StartTest, TenClientsAreServedWhilePeerStartsToo)
{
    std::vector<int32_t> codes(11, -1);
    std::vector<std::jthread> clients;
    for (int32_t& code : codes) {
        const bool isPeers = &code == &codes.back();
        clients.emplace_back([&code, &from = isPeers ? Phone() : Laptop(),
                              to = (isPeers ? Laptop() : Phone()).NetworkId()] { code = from.Ask(to); });
    }
    clients.clear();
    EXPECT_EQ(codes, std::vector<int32_t>(codes.size(), 0));
    for (const Device* device : {&Laptop(), &Phone()}) {
        EXPECT_TRUE(Eventually([&] { return device->Status("wifi.state") == "connected"; }));
    }
}

TEST_F(StartTest, FailedJoinReportsWrongKey)
{
    // The air folder (the simulated radio) contains only the hotspot of a device in another world. This hotspot has the
    // same name and another key.
    World other;
    Device& twin = other.Add("laptop");
    twin.Set({"hotspot.ssid=shared", "hotspot.active_at_start=true"});
    twin.Start();
    const std::string record = "hotspot-" + twin.NetworkId() + ".json";
    ASSERT_TRUE(Eventually([&] { return std::filesystem::exists(other.Path() / "air" / record); }));
    std::filesystem::copy(other.Path() / "air" / record, world_.Path() / "air" / record);
    Phone().Set({"hotspot.ssid=shared", "hotspot.start_ms=60000"});
    // Until the daemon of the phone has applied the change, the phone still offers the old name of its hotspot.
    Finished start;
    EXPECT_TRUE(Eventually([&] { return (start = Laptop().Ctl({"start", "phone"})).exitCode == 1; }));
    EXPECT_NE(start.output.find("wrong key"), std::string::npos) << start.output;
}

TEST_F(StartTest, PeerIsNotAskedWhenOwnWifiCannotJoin)
{
    const struct {
        const char* setting;
        const char* radio;
        const char* fault;
        const char* message;
    } cases[] = {{"wifi.station_present", "\"radio\":\"absent\"", "WIFI_ABSENT", "this device has no Wi-Fi"},
                 {"wifi.enabled", "\"radio\":\"switched_off\"", "WIFI_OFF", "this device's Wi-Fi is switched off"}};
    for (const auto& [setting, radio, fault, message] : cases) {
        Laptop().Set({std::string(setting) + "=false"});
        ASSERT_TRUE(Eventually([&, radio = radio] {
            return Laptop().Ctl({"--json", "status"}).output.find(radio) != std::string::npos;
        }));
        const Finished start = Laptop().Ctl({"start", "phone"});
        EXPECT_EQ(start.exitCode, 1);
        EXPECT_THAT(start.output, testing::HasSubstr(message));
        EXPECT_THAT(start.output, testing::HasSubstr(std::string(setting) + "=true")) << "what to do";
        const Finished json = Laptop().Ctl({"--json", "start", "phone"});
        EXPECT_EQ(json.exitCode, 1);
        EXPECT_THAT(json.output,
                    testing::StartsWith(std::string("{\"schema\":\"distnetctl/start/1\",\"code\":-5,\"name\":\"") +
                                        fault + "\""));
        Laptop().Set({std::string(setting) + "=true"});
    }
    EXPECT_THAT(Phone().Ctl({"--json", "status"}).output,
                testing::HasSubstr("\"hotspot\":{\"present\":true,\"active\":false}"));
}

TEST_F(StartTest, TooShortTimeLimitIsReportedAsCause)
{
    Phone().Set({"hotspot.start_ms=60000", "faults.hotspot.is_active.delay_ms=700"});
    EXPECT_TRUE(Eventually([&] { return Phone().Ctl({"--json", "status"}).output.find("null") != std::string::npos; }));
    const Finished asking = Laptop().Ctl({"--timeout", "0.3", "start", "phone", "--timing"});
    EXPECT_EQ(asking.exitCode, 5);
    EXPECT_THAT(asking.output, testing::Not(testing::HasSubstr("failed")));
    EXPECT_THAT(asking.output,
                testing::HasSubstr("the limit of 300 ms (--timeout) passed while waiting for phone's hotspot"));
    Phone().Set({"faults.hotspot.is_active.delay_ms=0"});
    Finished joining;
    EXPECT_TRUE(Eventually([&] {
        joining = Laptop().Ctl({"--timeout", "0.6", "start", "phone"});
        return joining.output.find("while joining phone's Wi-Fi") != std::string::npos;
    })) << joining.output;
    EXPECT_EQ(joining.exitCode, 5);
    EXPECT_THAT(joining.output, testing::AllOf(testing::HasSubstr("the limit of 600 ms (--timeout) passed"),
                                               testing::HasSubstr("phone closed its hotspot")));
    EXPECT_TRUE(Eventually([&] {
        return Phone().Ctl({"--json", "status"}).output.find("\"active\":false") != std::string::npos;
    }));
}

}  // namespace
}  // namespace Vexo::EndToEnd

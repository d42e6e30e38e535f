// The main job through real processes: two daemons of one account, a start in each direction, and what a failing step
// does to code, event and the next request.

#include <gtest/gtest.h>

#include <csignal>
#include <thread>

#include "tests/end_to_end/world.h"

namespace Vexo::EndToEnd {
namespace {

constexpr int32_t ERR_GENERAL = 2200003;
constexpr int32_t ERR_COLLABORATION = 1004500002;
constexpr int32_t ERR_LINK = 1004500003;

int32_t StartCode(const Device& device, const std::string& networkId)
{
    const auto client = device.Connect();
    if (!client) {
        return -1;
    }
    const Client::CallResult result = client->StartDistributedNetwork(0, 0, networkId);
    return result.status == Client::CallStatus::ANSWERED ? result.code : -1;
}

bool WifiBecomes(const Device& device, const std::string& state)
{
    return Eventually([&] { return device.Status("wifi.state") == state; });
}

class StartTest : public testing::Test {
protected:
    void SetUp() override { world_.StartLaptopAndPhone(); }
    Device& Laptop() { return world_["laptop"]; }
    Device& Phone() { return world_["phone"]; }

    // The last resort of every fault: it must leave both devices able to do the job.
    void ExpectNextStartSucceeds()
    {
        EXPECT_EQ(StartCode(Laptop(), Phone().NetworkId()), 0) << Laptop().Log() << Phone().Log();
        EXPECT_TRUE(WifiBecomes(Laptop(), "connected"));
    }

    World world_;
};

TEST_F(StartTest, JoinsThePeersHotspotAndSaysSo)
{
    const Finished start = Laptop().Ctl({"start", "phone"});
    EXPECT_EQ(start.exitCode, 0) << start.output;
    EXPECT_NE(start.output.find("You are online through phone."), std::string::npos) << start.output;
    EXPECT_EQ(Laptop().Status("wifi.state"), "connected");
    EXPECT_NE(Laptop().Status("wifi.address"), "");
    EXPECT_NE(Laptop().Events().find("NET_START_DIST_NETWORK_SUCCESS"), std::string::npos);
    EXPECT_EQ(Laptop().Events().find(Phone().NetworkId()), std::string::npos);
    EXPECT_EQ(Laptop().Log().find(Phone().NetworkId()), std::string::npos);
}

TEST_F(StartTest, WorksInBothDirectionsAtOnce)
{
    int32_t fromPhone = -1;
    std::thread other([&] { fromPhone = StartCode(Phone(), Laptop().NetworkId()); });
    EXPECT_EQ(StartCode(Laptop(), Phone().NetworkId()), 0);
    other.join();
    EXPECT_EQ(fromPhone, 0);
    EXPECT_TRUE(WifiBecomes(Laptop(), "connected"));
    EXPECT_TRUE(WifiBecomes(Phone(), "connected"));
}

TEST_F(StartTest, TenClientsAtOnceAreAllServed)
{
    std::vector<int32_t> codes(10, -1);
    std::vector<std::thread> clients;
    for (int32_t& code : codes) {
        clients.emplace_back([&, id = Phone().NetworkId()] { code = StartCode(Laptop(), id); });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    EXPECT_EQ(codes, std::vector<int32_t>(10, 0));
}

struct FaultRow {
    const char* name;
    const char* device;  // whose simulated radio fails
    const char* assignment;
    const char* event;  // what the requester's event says
};

void PrintTo(const FaultRow& row, std::ostream* out)
{
    *out << row.name;
}

class FaultTest : public StartTest, public testing::WithParamInterface<FaultRow> {};

TEST_P(FaultTest, IsReportedWithItsEventAndTheNextStartSucceeds)
{
    const FaultRow& row = GetParam();
    Device& faulty = world_[row.device];
    faulty.Set({row.assignment});
    const std::string key = std::string(row.assignment).substr(0, std::string(row.assignment).find('='));
    // The daemon follows the file soon after; until then a start may still succeed.
    EXPECT_TRUE(Eventually([&] { return StartCode(Laptop(), Phone().NetworkId()) == ERR_LINK; })) << Laptop().Log();
    EXPECT_NE(Laptop().Events().find(row.event), std::string::npos) << Laptop().Events();
    faulty.Set({key + "=0"});
    EXPECT_TRUE(Eventually([&] { return StartCode(Laptop(), Phone().NetworkId()) == 0; })) << Laptop().Log();
    ExpectNextStartSucceeds();
}

INSTANTIATE_TEST_SUITE_P(
    Radio, FaultTest,
    testing::Values(FaultRow{"Enable", "phone", "faults.hotspot.enable.code=5", R"("ERROR_TYPE":-97)"},
                    FaultRow{"Query", "phone", "faults.hotspot.is_active.code=5", "AP connect fail, save wlan error"},
                    FaultRow{"ReadConfig", "phone", "faults.hotspot.get_config.code=5", R"("ERROR_TYPE":-97)"},
                    FaultRow{"Add", "laptop", "faults.wifi.add_config.code=5", R"("ERROR_TYPE":-96)"},
                    FaultRow{"Connect", "laptop", "faults.wifi.connect.code=5", "AP connect fail, request error"}),
    [](const auto& row) { return row.param.name; });

TEST_F(StartTest, SilentHotspotRadioRunsIntoTheThreeSecondLimit)
{
    Phone().Set({"faults.hotspot.enable.no_answer=true"});
    EXPECT_TRUE(Eventually([&] { return StartCode(Laptop(), Phone().NetworkId()) == ERR_LINK; }));
    EXPECT_NE(Laptop().Log().find("SendStartHotspotMessage wait over time"), std::string::npos);
    Phone().Set({"faults.hotspot.enable.no_answer=false"});
    EXPECT_TRUE(Eventually([&] { return StartCode(Laptop(), Phone().NetworkId()) == 0; }));
}

TEST_F(StartTest, AWrongKeyEndsAsAFailedJoinWithTheReason)
{
    // Somebody else's hotspot of the same name, with another key, is all that the air holds.
    World other;
    Device& twin = other.Add("laptop");
    twin.Start();
    twin.Set({"hotspot.ssid=shared", "hotspot.active_at_start=true"});
    ASSERT_EQ(twin.Stop(), 0);
    twin.Start();
    const std::string record = "hotspot-" + twin.NetworkId() + ".json";
    ASSERT_TRUE(Eventually([&] { return std::filesystem::exists(other.Path() / "air" / record); }));
    std::filesystem::copy(other.Path() / "air" / record, world_.Path() / "air" / record);
    Phone().Set({"hotspot.ssid=shared", "hotspot.start_ms=60000"});
    // Until the daemon has followed, the phone still offers its old name.
    Finished start;
    EXPECT_TRUE(Eventually([&] { return (start = Laptop().Ctl({"start", "phone"})).exitCode == 1; }));
    EXPECT_NE(start.output.find("wrong key"), std::string::npos) << start.output;
}

TEST_F(StartTest, ADeviceWithoutWifiIsToldSo)
{
    Laptop().Set({"wifi.station_present=false"});
    ASSERT_TRUE(Eventually([&] { return Laptop().Ctl({"status"}).output.find("not present") != std::string::npos; }));
    const Finished start = Laptop().Ctl({"start", "phone"});
    EXPECT_EQ(start.exitCode, 1);
    EXPECT_NE(start.output.find("this device has no Wi-Fi"), std::string::npos) << start.output;
}

TEST_F(StartTest, APeerKilledBeforeTheStartIsAnErrorAndWorksAgainWhenItReturns)
{
    const std::string phone = Phone().NetworkId();
    Phone().Kill();
    const int32_t code = StartCode(Laptop(), phone);
    EXPECT_TRUE(code == ERR_COLLABORATION || code == ERR_LINK) << code;
    EXPECT_TRUE(Eventually([&] { return !Laptop().Sees(phone); }));
    Phone().Start();
    ASSERT_TRUE(Eventually([&] { return World::Found(Laptop(), Phone()); }));
    ExpectNextStartSucceeds();
}

TEST_F(StartTest, APeerKilledWhileItOpensItsHotspotEndsTheRequest)
{
    Phone().Set({"faults.hotspot.enable.no_answer=true"});
    int32_t code = 0;
    std::thread request([&, id = Phone().NetworkId()] {
        EXPECT_TRUE(Eventually([&] { return (code = StartCode(Laptop(), id)) != 0; }));
    });
    EXPECT_TRUE(Eventually([&] { return Phone().Log().find("HandleMessageStartHotSpot start") != std::string::npos; }));
    Phone().Kill();
    request.join();
    EXPECT_TRUE(code == ERR_LINK || code == ERR_COLLABORATION) << code;
    Phone().Start();
    Phone().Set({"faults.hotspot.enable.no_answer=false"});
    ASSERT_TRUE(Eventually([&] { return World::Found(Laptop(), Phone()); }));
    EXPECT_TRUE(Eventually([&] { return StartCode(Laptop(), Phone().NetworkId()) == 0; }));
}

TEST_F(StartTest, AFrozenPeerEndsTheRequestWithinItsLimits)
{
    ASSERT_EQ(StartCode(Laptop(), Phone().NetworkId()), 0);
    Phone().Daemon().Signal(SIGSTOP);
    const auto asked = std::chrono::steady_clock::now();
    const int32_t code = StartCode(Laptop(), Phone().NetworkId());
    const auto took = std::chrono::steady_clock::now() - asked;
    Phone().Daemon().Signal(SIGCONT);
    EXPECT_TRUE(code == ERR_LINK || code == ERR_COLLABORATION) << code;
    EXPECT_LT(took, std::chrono::seconds(16));  // 5 s to wake it, 10 s to open a session
    EXPECT_TRUE(Eventually([&] { return StartCode(Laptop(), Phone().NetworkId()) == 0; })) << Laptop().Log();
}

TEST_F(StartTest, ADeviceOfAnotherAccountIsNoPeer)
{
    Device& stranger = world_.AddStranger("stranger");
    stranger.Start();
    EXPECT_EQ(StartCode(stranger, Phone().NetworkId()), ERR_GENERAL);
    EXPECT_NE(stranger.Log().find("IsSameAccount verify failed."), std::string::npos);
    EXPECT_FALSE(Phone().Sees(stranger.NetworkId()));
    ExpectNextStartSucceeds();
}

}  // namespace
}  // namespace Vexo::EndToEnd

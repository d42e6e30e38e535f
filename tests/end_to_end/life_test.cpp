// Tests with real processes which clients keep the service loaded and how the service is loaded again. Also tests how
// the daemon handles refused callers, a second daemon and signals.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <regex>

#include "tests/end_to_end/world.h"

namespace Vexo::EndToEnd {
namespace {

class LifeTest : public testing::Test {
protected:
    void SetUp() override { device_.Start(); }
    bool ServiceBecomes(const std::string& state)
    {
        return Eventually([&] { return device_.Status("service") == state; });
    }

    World world_;
    Device& device_{world_.Add("laptop")};
};

TEST_F(LifeTest, InterruptedOrKilledCommandReleasesService)
{
    Device& phone = world_.Add("phone");
    phone.Start();
    ASSERT_TRUE(Eventually([&] { return World::Found(device_, phone); }));
    phone.Set({"faults.hotspot.enable.no_answer=true"});
    for (const int signal : {SIGINT, SIGKILL}) {
        Process start({DISTNET_BIN_DIR "/distnetctl", "--socket", device_.Socket(), "start", "phone"},
                      world_.Path() / "start.log");
        ASSERT_TRUE(ServiceBecomes("running"));
        start.Signal(signal);
        EXPECT_EQ(start.Wait(), 128 + signal);
        EXPECT_TRUE(ServiceBecomes("idle")) << signal << "\n" << device_.Log();
    }
    EXPECT_NE(device_.Ctl({"status"}).output.find("it still serves peers"), std::string::npos);
}

TEST_F(LifeTest, SecondDaemonOnSameStateFolderIsRefused)
{
    Process second({DISTNET_BIN_DIR "/distnetd", "--config", world_.Path() / "laptop.json"},
                   world_.Path() / "second.log");
    EXPECT_EQ(second.Wait(), 1);
    EXPECT_NE(second.Output().find(std::to_string(device_.Daemon().Pid())), std::string::npos) << second.Output();
    EXPECT_NE(device_.Connect(), nullptr);
}

// Returns the lines of an event file without the member "schema".
std::string WithoutSchema(const std::string& lines)
{
    return std::regex_replace(lines, std::regex("\"schema\":\"[a-z/0-9]*\","), "");
}

TEST_F(LifeTest, EventFollowerSurvivesRestartAndPrintsEachEventOnce)
{
    const Process follower(
        {"/bin/sh", "-c", "exec " DISTNET_BIN_DIR "/distnetctl --json events -f 2>&- --socket " + device_.Socket()},
        world_.Path() / "follow.log");
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(device_.Ctl({"info"}).exitCode, 0);
        EXPECT_TRUE(Eventually([&] { return WithoutSchema(follower.Output()) == device_.Events(); }))
            << follower.Output();
        EXPECT_EQ(device_.Stop(), 0);
        device_.Start();
    }
}

TEST(SocketFolderTest, NewSocketFolderIsAccessibleToUsers)
{
    const World world;
    std::ofstream(world.Path() / "phone.json")
        << R"({"platform": "simulated", "state_dir": "phone", "ipc": {"socket": "run/phone/ipc.sock"}})";
    const mode_t before = umask(077);
    const Process daemon({DISTNET_BIN_DIR "/distnetd", "--config", world.Path() / "phone.json"}, world.Path() / "log");
    umask(before);
    const auto modeOf = [&](const char* path) { return std::filesystem::status(world.Path() / path).permissions(); };
    EXPECT_TRUE(Eventually([&] { return modeOf("run/phone/ipc.sock") == std::filesystem::perms(0666); }));
    EXPECT_EQ(modeOf("run/phone"), std::filesystem::perms(0755));
    EXPECT_EQ(modeOf("phone"), std::filesystem::perms(0700));
}

TEST(OpenRequestTest, SigtermEndsDaemonInTimeAndSecondOneAtOnce)
{
    for (const bool isTwice : {false, true}) {
        World world;
        world.StartLaptopAndPhone();
        world["phone"].Set({"faults.hotspot.enable.no_answer=true"});
        Device& laptop = world["laptop"];
        const Process start({DISTNET_BIN_DIR "/distnetctl", "--socket", laptop.Socket(), "start", "phone"},
                            world.Path() / "start.log");
        ASSERT_TRUE(Eventually([&] { return laptop.Count("sessions") > 0; })) << laptop.Log();
        auto told = std::chrono::steady_clock::now();
        laptop.Daemon().Signal(SIGTERM);
        if (isTwice) {
            // As soon as the daemon has removed its socket, a second signal ends the daemon at once.
            ASSERT_TRUE(Eventually([&] { return !std::filesystem::exists(laptop.Socket()); }));
            told = std::chrono::steady_clock::now();
            laptop.Daemon().Signal(SIGTERM);
        }
        EXPECT_EQ(laptop.Daemon().Wait(), isTwice ? 128 + SIGTERM : 0);
        const std::chrono::milliseconds limit(isTwice ? 1500 : 1500 + 2000);  // a busy machine may need 2 s more
        EXPECT_LT(std::chrono::steady_clock::now() - told, limit);
    }
}

TEST(PolicyTest, CallerWithoutRightGetsExitCodeFour)
{
    World world;
    Device& device = world.Add("laptop");
    // This policy allows requests only from a user that does not exist.
    std::ofstream(world.Path() / "policy.json")
        << R"({"entries": [{"user": "4294967294", "token_type": "native", "system_app": true}]})";
    device.Start();
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"status"}, {"devices"}, {"info"}, {"start", std::string(64, 'a')}}) {
        const Finished finished = device.Ctl(command);
        EXPECT_EQ(finished.exitCode, 4) << command.front() << finished.output;
        EXPECT_NE(finished.output.find("refuses this user"), std::string::npos) << finished.output;
    }
}

TEST(PolicyTest, DamagedPolicyIsReportedAndAllowsRootOnly)
{
    World world;
    Device& device = world.Add("laptop");
    std::ofstream(world.Path() / "policy.json") << "{";
    device.Start();
    EXPECT_NE(device.Log().find("only root has access, because the policy cannot be used: " +
                                (world.Path() / "policy.json:1:2: the JSON ends too early").string()),
              std::string::npos);
    EXPECT_EQ(device.Ctl({"status"}).exitCode, getuid() == 0 ? 0 : 4);
}

TEST(UnreachableTest, MissingDaemonGivesExitCodeThreeAndJsonError)
{
    const Finished plain = Ctl({"--socket", "/nonexistent/ipc.sock", "devices"});
    EXPECT_EQ(plain.exitCode, 3);
    EXPECT_NE(plain.output.find("/nonexistent/ipc.sock"), std::string::npos) << plain.output;
    const Finished json = Ctl({"--json", "--socket", "/nonexistent/ipc.sock", "start", "phone"});
    EXPECT_EQ(json.exitCode, 3);
    EXPECT_EQ(json.output.rfind("{\"schema\":\"distnetctl/start/1\",\"code\":", 0), 0u) << json.output;
    EXPECT_EQ(std::count(json.output.begin(), json.output.end(), '\n'), 1) << json.output;
}

}  // namespace
}  // namespace Vexo::EndToEnd

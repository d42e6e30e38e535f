// Tests which platform a daemon selects, what it reports about the platform, and how it notifies the service manager.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>

#include "host/device.h"
#include "platform/base/unique_fd.h"
#include "tests/backends/linux/private_machine.h"
#include "tests/support/fake_ability_manager.h"

namespace Vexo::Host {
namespace {

using EndToEnd::Eventually;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* NETWORK_MANAGER = "org.freedesktop.NetworkManager";

TEST(Platform, IsConfiguredOneOrLinuxIfNetworkManagerAnswers)
{
    Tests::PrivateMachine machine;
    const auto choose = [&](const char* configured) {
        Configuration configuration;
        configuration.platform = configured;
        configuration.linuxBus = machine.Address();
        const PlatformChoice choice = ChoosePlatform(configuration);
        return choice.platform + ": " + choice.reason;
    };
    EXPECT_THAT(choose(""), StartsWith("simulated: linux is not used, because NetworkManager does not answer (org."));
    EXPECT_EQ(choose("linux"), "linux: configured");
    machine.StartMock("networkmanager", NETWORK_MANAGER);
    EXPECT_EQ(choose(""), "linux: NetworkManager 0.9.6.0 answers");
    EXPECT_EQ(choose("simulated"), "simulated: configured");
}

TEST(Platform, MachineWithoutRadioAndModemReportsWhatIsMissing)
{
    Tests::PrivateMachine machine;
    const Tests::InstalledRegistry registry;
    machine.StartMock("networkmanager", NETWORK_MANAGER);
    Configuration configuration;
    configuration.stateDir = machine.Folder();
    configuration.linuxBus = machine.Address();
    auto device = Device::Start(ChoosePlatform(configuration), configuration, "7f3a11");
    ASSERT_TRUE(device) << device.error().message;
    std::string checks;
    for (const QuviewDFX::HealthCheck& check : device.value()->Checks()) {
        checks += check.name + (!check.good ? "? " : *check.good ? "+ " : "- ");
        EXPECT_EQ(check.advice.empty(), check.good.value_or(false)) << check.message;
    }
    EXPECT_EQ(checks, "radio- hotspot- events+ modem? nearby? bluetooth? ");
}

UniqueFd ListenAsServiceManager(const std::string& path)
{
    UniqueFd socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    const timeval limit{EndToEnd::PATIENCE.count(), 0};
    setsockopt(socket.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    return socket;
}

std::string ReceiveFrom(const UniqueFd& socket)
{
    std::string text(1024, '\0');
    text.resize(static_cast<size_t>(std::max<ssize_t>(0, recv(socket.Get(), text.data(), text.size(), 0))));
    return text;
}

TEST(Platform, DaemonLogsPlatformAndSurvivesLossOfBus)
{
    Tests::PrivateMachine machine;
    machine.StartMock("networkmanager", NETWORK_MANAGER);
    const std::filesystem::path file = machine.Folder() / "distnetd.json";
    std::ofstream(file) << R"({"state_dir": "s", "device": {"name": "laptop"}, "linux": {"bus": ")" << machine.Address()
                        << R"("}})";
    const std::string path = (machine.Folder() / "notify").string();
    const UniqueFd notified = ListenAsServiceManager(path);
    setenv("NOTIFY_SOCKET", path.c_str(), 1);
    EndToEnd::Process daemon({DISTNET_BIN_DIR "/distnetd", "--config", file.string()}, machine.Folder() / "daemon.log");
    unsetenv("NOTIFY_SOCKET");  // otherwise a dbus-daemon would send notifications too
    EXPECT_EQ(ReceiveFrom(notified), "READY=1\nSTATUS=linux device, listening on " +
                                         (machine.Folder() / "s" / "ipc.sock").string() + "; no link")
        << daemon.Output();
    for (const char* line :
         {"platform linux: NetworkManager 0.9.6.0 answers\n", "ability 1121 Wi-Fi hotspot: not there: ",
          "ability 3299 common events: NetworkManager 0.9.6.0, UPower does not run, logind does not "
          "run\n",
          "ability 4010 telephony: not there: ModemManager does not run\n"}) {
        EXPECT_THAT(daemon.Output(), HasSubstr(line));
    }
    const auto says = [&](const std::string& line, size_t from) {
        return Eventually([&] { return daemon.Output().find(line, from) != std::string::npos; });
    };
    size_t from = daemon.Output().size();
    machine.End("bus");
    EXPECT_TRUE(says("NetworkManager does not run", from)) << daemon.Output();
    from = daemon.Output().size();
    machine.StartBus();
    machine.StartMock("networkmanager", NETWORK_MANAGER);
    EXPECT_TRUE(says("NetworkManager 0.9.6.0", from)) << daemon.Output();
    daemon.Signal(SIGTERM);
    EXPECT_THAT(ReceiveFrom(notified), StartsWith("STOPPING=1\n"));
    EXPECT_EQ(daemon.Wait(), 0);
}

}  // namespace
}  // namespace Vexo::Host

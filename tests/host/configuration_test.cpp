#include "host/configuration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Vexo::Host {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* MINIMAL = R"("state_dir": "s", "device": {"name": "phone"})";

ConfigurationResult Parse(const std::string& members)
{
    return ParseConfiguration("{" + members + "}", "etc/distnetd.json");
}

TEST(Configuration, FaultNamesKeyAndAllowedValues)
{
    const std::pair<const char*, const char*> cases[] = {
        {R"("softbus": {"port": 70000})", "softbus.port: 70000 is out of range (0 to 65535; 0 picks a free port)"},
        {R"("softbus": {"listen": "home"})", "softbus.listen: \"home\" is not an IP address (an IPv4 or IPv6 address)"},
        {R"("softbus": {"peers": ["phone:9", "phone:0"]})",
         "softbus.peers.1: \"phone:0\" is not a host and a port (\"HOST:PORT\", port 1 to 65535, IPv6 in brackets)"},
        {R"("ipc": {"socket_mode": "0777"})",
         "ipc.socket_mode: \"0777\" is out of range (octal text, \"0600\" to \"0666\")"},
        {R"("ipc": {"socket_mode": "rw"})",
         "ipc.socket_mode: \"rw\" is not an octal number (octal text, \"0600\" to \"0666\")"},
        {R"("hotspot": {"channel": 6})", "hotspot.channel: a channel needs its band (set \"hotspot.band\" too)"},
        {R"("linux": {"bus": "system"})",
         "linux.bus: \"system\" is not a D-Bus address (a D-Bus address, \"unix:path=…\")"},
        {R"("events": {"file": ""})", "events.file: \"\" is empty (a path)"},
        {R"("share": {"month_first_day": 32})",
         "share.month_first_day: 32 is out of range (1 to 31; in a shorter month its last day)"},
    };
    for (const auto& [json, fault] : cases) {
        EXPECT_THAT(Parse(std::string(MINIMAL) + ", " + json).faults,
                    ElementsAre(std::string("etc/distnetd.json: ") + fault));
    }
}

TEST(Configuration, SocketPathThatCannotBeBoundIsAFault)
{
    EXPECT_THAT(Parse(R"("device": {"name": "p"}, "state_dir": "/)" + std::string(120, 'd') + "\"").faults,
                ElementsAre(HasSubstr("ipc.socket: the path has 130 bytes (at most 107")));
}

TEST(Configuration, PathsAreRelativeToFileAndDefaultsToStateFolder)
{
    const ConfigurationResult result =
        Parse(std::string(MINIMAL) +
              R"(, "softbus": {"peers": ["[::1]:9", "phone.example:65535"]}, "access": {"policy": "/p"})");
    ASSERT_THAT(result.faults, IsEmpty());
    const Configuration& configuration = result.configuration;
    EXPECT_EQ(configuration.stateDir, "etc/s");
    EXPECT_EQ(configuration.ipcSocket, "etc/s/ipc.sock");
    EXPECT_EQ(configuration.airDir, "etc/s/air");
    EXPECT_EQ(configuration.eventsFile, "etc/s/events.jsonl");
    EXPECT_EQ(configuration.accessPolicy, "/p");
    EXPECT_THAT(configuration.softbusPeers, ElementsAre("[::1]:9", "phone.example:65535"));
    EXPECT_EQ(configuration.policyRoots.size(), 2U);
}

}  // namespace
}  // namespace Vexo::Host

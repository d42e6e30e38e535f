#include "platform/base/host_port.h"

#include <gtest/gtest.h>

namespace Vexo {
namespace {

TEST(HostPort, IsReadAndWrittenAlike)
{
    const struct {
        const char* text;
        HostPort parts;
    } cases[] = {
        {"192.0.2.7:0", {"192.0.2.7", 0}},
        {"my_phone.example:65535", {"my_phone.example", 65535}},
        {"[2001:db8::7]:4700", {"2001:db8::7", 4700}},
        {"[fe80::1%eth0]:4700", {"fe80::1%eth0", 4700}},
    };
    for (const auto& [text, parts] : cases) {
        const Result<HostPort> parsed = ParseHostPort(text);
        ASSERT_TRUE(parsed) << parsed.error().message;
        EXPECT_EQ(parsed->host, parts.host);
        EXPECT_EQ(parsed->port, parts.port);
        EXPECT_EQ(ToText(*parsed), text);
    }
}

TEST(HostPort, DamagedTextIsRefused)
{
    const std::string cases[] = {"",
                                 ":",
                                 "phone",
                                 "phone:",
                                 ":80",
                                 "phone:65536",
                                 "phone:-1",
                                 "phone:80 ",
                                 "phone:8o",
                                 "::1:80",
                                 "[]:80",
                                 "[:80",
                                 "[phone]:80",
                                 "[::1]",
                                 "[::1]80",
                                 "[::1%]:80",
                                 "a b:80",
                                 std::string("phone\0.example:80", 17),
                                 std::string("[::1\0]:80", 9),
                                 std::string(254, 'a') + ":80"};
    for (const std::string& text : cases) {
        const Result<HostPort> parsed = ParseHostPort(text);
        ASSERT_FALSE(parsed) << text;
        EXPECT_EQ(parsed.error().message,
                  "\"" + text + "\" is not HOST:PORT (port 0 to 65535, IPv6 hosts in brackets)");
    }
}

}  // namespace
}  // namespace Vexo

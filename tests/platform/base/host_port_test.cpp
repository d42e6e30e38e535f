#include "platform/base/host_port.h"

#include <gtest/gtest.h>

namespace Vexo {
namespace {

TEST(HostPort, ParsingAndFormattingAgree)
{
    for (const HostPort& address : {HostPort{"192.0.2.7", 0}, HostPort{"my_phone.example", 65535},
                                    HostPort{"2001:db8::7", 4700}, HostPort{"fe80::1%eth0", 4700}}) {
        const Result<HostPort> parsed = ParseHostPort(ToText(address));
        ASSERT_TRUE(parsed) << parsed.error().message;
        EXPECT_EQ(parsed->host, address.host);
        EXPECT_EQ(parsed->port, address.port);
    }
    EXPECT_EQ(ToText({"::1", 80}), "[::1]:80");
}

TEST(HostPort, DamagedTextIsRefused)
{
    using namespace std::string_literals;
    for (const std::string& text : {""s, "80"s, "phone:"s, ":80"s, "phone:65536"s, "phone:+1"s, "phone:80 "s, "::1:80"s,
                                    "[]:80"s, "[:80"s, "[phone]:80"s, "[::1]"s, "[::1%]:80"s, "a b:80"s,
                                    "phone\0.example:80"s, "[::1\0]:80"s, std::string(254, 'a') + ":80"}) {
        EXPECT_FALSE(ParseHostPort(text)) << text;
    }
}

}  // namespace
}  // namespace Vexo

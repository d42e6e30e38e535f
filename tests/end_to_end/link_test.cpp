// What a real daemon says to other devices on its link, byte by byte.

#include <gtest/gtest.h>

#include <regex>

#include "tests/end_to_end/hand_made_peer.h"

namespace Vexo::EndToEnd {
namespace {

TEST(LinkTest, ARequestIsAnsweredWithAFrameAsDocumented)
{
    World world;
    Device& laptop = world.Add("laptop");
    laptop.Set({"hotspot.key="});  // it makes one
    laptop.Start();
    HandMadePeer peer(world, world.Add("phone"));
    ASSERT_TRUE(Eventually([&] { return laptop.Sees(peer.NetworkId()) && peer.Sees(laptop.NetworkId()); }));
    uint32_t state = 0;
    ASSERT_TRUE(laptop.Connect()->StartService(state).Succeeded());
    const std::string reply = peer.Ask(laptop.NetworkId(), {std::string("\3\2\0", 3)});
    ASSERT_GT(reply.size(), 5u) << laptop.Log();
    EXPECT_EQ(reply[0], 4);
    const std::string json = reply.substr(5);
    EXPECT_EQ(reply.substr(0, 5), ResponseFrame(json).substr(0, 5));
    std::smatch parts;
    const std::regex documented(
        "\\{\n\t\"RES\":\t0,\n\t\"SSID\":\t\"laptop-[0-9a-f]{4}\",\n"
        "\t\"PRESHARED_KEY\":\t\"([a-z2-9]{16})\",\n\t\"SECURITY_TYPE\":\t4\n\\}");
    EXPECT_TRUE(std::regex_match(json, parts, documented)) << json.substr(0, 40);
    world.KeepSecret(parts[1]);
}

}  // namespace
}  // namespace Vexo::EndToEnd

// Tests what a real daemon sends to other devices on its link, byte by byte.

#include <gtest/gtest.h>

#include <future>
#include <regex>

#include "tests/end_to_end/failure_acts.h"

namespace Vexo::EndToEnd {
namespace {

TEST(LinkTest, RequestIsAnsweredWithDocumentedFrame)
{
    World world;
    Device& laptop = world.Add("laptop");
    laptop.Set({"hotspot.key="});  // the device generates a key
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

TEST(LinkTest, AnswerFromUnaskedDeviceIsIgnored)
{
    const std::string answer = ResponseFrame(R"({"RES":0,"SSID":"not-asked","SECURITY_TYPE":0})");
    Stage stage;
    stage.phone.Set({"hotspot.ssid=asked", "faults.hotspot.enable.delay_ms=1500"});
    stage.laptop.Start();
    stage.phone.Start();
    stage.BringTablet(Lacks::NOTHING);
    ASSERT_TRUE(Eventually([&] { return World::Found(stage.laptop, stage.phone); }));
    uint32_t state = 0;
    ASSERT_TRUE(stage.laptop.Connect()->StartService(state).Succeeded());

    stage.tablet->SendUntilClosed(stage.laptop.NetworkId(), answer);
    EXPECT_EQ(stage.laptop.Status("wifi.attempt"), "0");

    auto start = std::async(std::launch::async, [&] { return Start(stage); });
    EXPECT_TRUE(stage.LogHas(stage.phone, "HandleMessageStartHotSpot start"));
    stage.tablet->SendUntilClosed(stage.laptop.NetworkId(), answer);
    EXPECT_EQ(stage.laptop.Status("wifi.attempt"), "0") << "the start is pending";
    EXPECT_EQ(start.get(), 0) << stage.laptop.Log();
    EXPECT_EQ(stage.laptop.Status("wifi.attempt"), "1");
    EXPECT_EQ(stage.laptop.Status("wifi.ssid"), "asked");
    const std::regex dropped("hotspot answer dropped: no request waits for it, sessionId = [1-9]");
    const std::string log = stage.laptop.Log();
    EXPECT_EQ(std::distance(std::sregex_iterator(log.begin(), log.end(), dropped), std::sregex_iterator()), 2) << log;
}

}  // namespace
}  // namespace Vexo::EndToEnd

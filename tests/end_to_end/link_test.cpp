// What a real daemon says to other devices on its link, byte by byte, and what strangers there get.

#include <gtest/gtest.h>

#include <fstream>
#include <regex>

#include "platform/trust/account.h"
#include "tests/end_to_end/hand_made_peer.h"
#include "tests/end_to_end/world.h"
#include "tests/platform/softbus/device_fixture.h"

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

// Strangers on the network, against the daemon's port.
class StrangerTest : public testing::Test {
protected:
    void SetUp() override { laptop_.Start(); }
    std::string Port() { return laptop_.Status("link.listen"); }
    void ExpectStillServing()
    {
        EXPECT_EQ(laptop_.Count("presence_links"), 0);
        EXPECT_EQ(laptop_.Count("sessions"), 0);
        EXPECT_EQ(laptop_.Status("device.name"), "laptop");
    }

    World world_;
    Device& laptop_{world_.Add("laptop")};
};

TEST_F(StrangerTest, ACertificateThatDoesNotCountGetsAClosedConnection)
{
    Device& stranger = world_.AddStranger("stranger");
    Device& expired = world_.Add("expired");
    const auto request = [&] {
        std::filesystem::remove(expired.Identity() / "device.crt");
        return Trust::MakeRequest(expired.Identity(), "expired");
    }();
    const auto chain = Trust::Admit(laptop_.Identity(), request.Value(), std::chrono::hours(-1));
    const std::string certificate = chain.Value().substr(0, chain.Value().find("-----BEGIN", 1));
    std::ofstream(expired.Identity() / "device.crt") << certificate;

    const std::pair<const Device*, const char*> rows[] = {
        {&stranger, "not signed by this account"}, {&expired, "expired"}, {nullptr, "no certificate"}};
    for (const auto& [device, reason] : rows) {
        // A client that believes any server and shows what the device has.
        std::vector<std::string> client{"/usr/bin/openssl", "s_client", "-quiet", "-connect", Port()};
        if (device != nullptr) {
            client.insert(client.end(), {"-cert", device->Identity() / "device.crt"});
            client.insert(client.end(), {"-key", device->Identity() / "device.key"});
        }
        Process refused(client, world_.Path() / (std::string(reason) + ".log"));
        refused.Wait();
        EXPECT_NE(refused.Output().find("SSL alert number"), std::string::npos) << refused.Output();
        EXPECT_TRUE(Eventually([&, text = reason] { return laptop_.Log().find(text) != std::string::npos; }))
            << reason << "\n"
            << laptop_.Log();
    }
    ExpectStillServing();
}

TEST_F(StrangerTest, AFrameBeyondFourMebibytesEndsThatConnectionOnly)
{
    Device& phone = world_.Add("phone");
    const auto identity = Trust::LoadIdentity(phone.Identity());
    SoftBus::Tests::Bare bare(Port(), identity.Value());
    ASSERT_TRUE(bare.Handshake());
    ASSERT_TRUE(bare.Write(SoftBus::EncodeHeader(SoftBus::FrameKind::DATA, MAX_SESSION_BYTES + 1)));
    EXPECT_TRUE(bare.WaitForEnd());
    EXPECT_TRUE(Eventually([&] { return laptop_.Count("presence_links") == 0; }));
    ExpectStillServing();
}

}  // namespace
}  // namespace Vexo::EndToEnd

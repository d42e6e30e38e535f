// The hotspot exchange over the collaboration's data channel: a daemon that asks that way, and an ordinary distnetd.

#include <gtest/gtest.h>

#include <fstream>

#include "tests/end_to_end/world.h"

namespace Vexo::EndToEnd {
namespace {

const std::string REFUSED = "1004500003";

class CollaborationTest : public testing::Test {
protected:
    // Starts a device that asks, and waits until it could handle the answer.
    static void StartAsking(Device& device)
    {
        device.SetProgram(COLLABORATION_DAEMON);
        device.Start();
        ASSERT_TRUE(Eventually([&] { return device.Log().find("InitHandleMessageMap") != std::string::npos; }));
    }
    void Meet()
    {
        ASSERT_TRUE(Eventually([&] { return World::Found(laptop_, phone_); })) << laptop_.Log() << phone_.Log();
    }
    static void Ask(const Device& device, const Device& peer)
    {
        std::ofstream(device.StateDir() / "requests") << peer.NetworkId() << std::endl;
    }
    // The code of the device's next start, once it is there; read: how much of its log has been looked at.
    static std::string Code(const Device& device, size_t& read)
    {
        const std::string mark = "collaboration start: ";
        std::string log;
        size_t at = 0;
        EXPECT_TRUE(Eventually([&] {
            log = device.Log();
            at = log.find(mark, read);
            return at != std::string::npos && log.find('\n', at) != std::string::npos;
        })) << log;
        read = log.find('\n', at);
        return log.substr(at + mark.size(), read - at - mark.size());
    }
    std::string Start()
    {
        Ask(laptop_, phone_);
        return Code(laptop_, read_);
    }

    World world_;
    Device& laptop_{world_.Add("laptop")};
    Device& phone_{world_.Add("phone")};
    size_t read_ = 0;
};

TEST_F(CollaborationTest, JoinsThePeersHotspotAgainAfterARefusal)
{
    StartAsking(laptop_);
    phone_.Start();
    Meet();
    EXPECT_EQ(Start(), "0") << laptop_.Log() << phone_.Log();
    EXPECT_TRUE(Eventually([&] { return laptop_.Status("wifi.state") == "connected"; })) << laptop_.Log();
    EXPECT_NE(phone_.Log().find("onDataReceived, messageType is 3"), std::string::npos) << phone_.Log();

    phone_.Set({"faults.hotspot.get_config.code=5"});
    EXPECT_TRUE(Eventually([&] { return Start() == REFUSED; })) << laptop_.Log();
    EXPECT_NE(laptop_.Log().find("SendStartHotspotMessage error, 5\n"), std::string::npos) << laptop_.Log();
    EXPECT_NE(laptop_.Events().find(R"("ERROR_TYPE":-96)"), std::string::npos) << laptop_.Events();
    phone_.Set({"faults.hotspot.get_config.code=0"});
    EXPECT_TRUE(Eventually([&] { return Start() == "0"; })) << laptop_.Log();
}

TEST_F(CollaborationTest, TwoDevicesThatAskEachOtherAreBothServed)
{
    StartAsking(laptop_);
    StartAsking(phone_);
    Meet();
    Ask(phone_, laptop_);
    EXPECT_EQ(Start(), "0") << laptop_.Log() << phone_.Log();
    size_t read = 0;
    EXPECT_EQ(Code(phone_, read), "0") << laptop_.Log() << phone_.Log();
}

}  // namespace
}  // namespace Vexo::EndToEnd

// Both ends of the exchange over collaborations in one process: the real framework on a soft bus that leads back here,
// so that the service is its own peer.
#include "distributed/services/link/collaboration.h"

#include <gtest/gtest.h>

#include "distributed/services/link/collaboration_listener.h"
#include "platform/collaboration/collaboration_server.h"
#include "tests/platform/collaboration/loopback_bus.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/fake_wifi.h"
#include "tests/support/log_capture.h"

namespace Vexo::NetManagerStandard {
namespace {

using CollaborationFwk::CollaborationServer;
using Tests::Eventually;
using Tests::LoopbackBus;

class Registry : public Tests::FakeAbilityManager {
public:
    int32_t LoadSystemAbility(int32_t) override { return ERR_OK; }
    int32_t AnnounceSystemAbility(int32_t) override
    {
        Collaboration::GetInstance().InitCollaboration();
        return ERR_OK;
    }
};

class CollaborationChannelTest : public testing::Test {
protected:
    CollaborationChannelTest()
    {
        SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(registry_);
        registry_->AddSystemAbility(SOFTBUS_SERVER_SA_ID, bus_);
        framework_ = CollaborationServer::Start().Value();
        registry_->AddSystemAbility(COLL_FWK_SA_ID, framework_);
        registry_->AddSystemAbility(WIFI_HOTSPOT_SYS_ABILITY_ID, hotspot_);
    }
    ~CollaborationChannelTest() override
    {
        framework_->Stop();
        bus_->Drain();
        SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(nullptr);
    }
    int32_t Exchange()
    {
        EXPECT_EQ(channel_.StartCollaboration(LoopbackBus::PEER, session_), 0);
        return channel_.SendStartHotspotMessage(session_);
    }
    void Receive(const std::string& bytes)
    {
        CollaborationListener::GetInstance().DataReceived(-1, bytes.data(), static_cast<unsigned int>(bytes.size()));
    }

    const Tests::LogCapture log_;
    const sptr<Registry> registry_ = MakeSptr<Registry>();
    const sptr<LoopbackBus> bus_ = MakeSptr<LoopbackBus>();
    const sptr<Tests::FakeWifiHotspot> hotspot_ = MakeSptr<Tests::FakeWifiHotspot>();
    sptr<CollaborationServer> framework_;
    Collaboration& channel_ = Collaboration::GetInstance();
    int session_ = 0;
};

TEST_F(CollaborationChannelTest, ExchangesEndWithTheirResultAndForgetTheirPeer)
{
    EXPECT_EQ(Exchange(), 0);
    EXPECT_FALSE(channel_.GetReceiverReady(session_));

    channel_.StopCollaborationCondition(session_, -1);  // as a late answer would
    hotspot_->configResult = 7;
    EXPECT_EQ(Exchange(), 7) << "the failing call's own code";
    hotspot_->configResult = 0;
    EXPECT_EQ(Exchange(), 0);

    // The serving end, session 7, heard of its peer's receiver too. The peer ended it; a later start clears it away.
    EXPECT_TRUE(Eventually([this] { return channel_.GetReceiverReady(7); }));
    EXPECT_TRUE(Eventually([this] {
        channel_.InitCollaboration();
        return !channel_.GetReceiverReady(7);
    }));
    EXPECT_EQ(channel_.SendStartHotspotMessage(session_), CollaborationFwk::COLLABORATION_NO_SUCH_SESSION);
    session_ = -5;
    EXPECT_NE(channel_.StartCollaboration(std::string(64, 'b'), session_), 0);
    EXPECT_EQ(session_, -5);
}

TEST_F(CollaborationChannelTest, FramesHaveTheirLogLinesAndCodes)
{
    CollaborationListener& listener = CollaborationListener::GetInstance();
    listener.InitHandleMessageMap();
    Receive(std::string("\1\2\0\3", 4));
    Receive("\11xx");
    EXPECT_EQ(log_.Count(" HandleMessageUnknown"), 2U);
    Receive("\3x");
    Receive(std::string(4194305, '\3'));
    EXPECT_EQ(log_.Count(" onDataReceived param check failed"), 2U);
    Receive(std::string("\3\2\0", 3));
    EXPECT_TRUE(log_.Contains(" HandleMessageStartHotSpot start")) << "any session id";
    EXPECT_EQ(listener.SendStartHotspotResponseMessage(1, std::string(46076, 'x')), 401);
    EXPECT_EQ(listener.SendStartHotspotResponseMessage(1, ""), 1004500114);
    EXPECT_EQ(listener.SendStartHotspotResponseMessage(1, "xy"), 1004500123);
    EXPECT_TRUE(log_.Contains(" SendStartHotspotResponseMessage request: 4, 7, 2"));
}

}  // namespace
}  // namespace Vexo::NetManagerStandard

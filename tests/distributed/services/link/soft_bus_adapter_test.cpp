#include "distributed/services/link/soft_bus_adapter.h"

#include <gtest/gtest.h>

#include <future>

#include "distributed/services/link/device_manager_adapter.h"
#include "distributed/services/service/distnet_errors.h"
#include "platform/ability/ability_ids.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/fake_device_manager.h"
#include "tests/support/fake_soft_bus.h"
#include "tests/support/log_capture.h"

namespace Vexo::NetManagerStandard {
namespace {

const std::string PEER(64, 'a');
constexpr int SESSION = 7;  // what FakeSoftBus answers

class SoftBusAdapterTest : public testing::Test {
protected:
    // The opened callback comes once the opener waits, as a soft bus that takes its time would deliver it.
    void AnswerOpenWith(int result)
    {
        softBus_->onOpen = [this, result] {
            log_.WaitFor(" StartPending: sessionId=7");
            softBus_->listener.OnSessionOpened(SESSION, result);
        };
    }

    const Tests::LogCapture log_;
    Tests::InstalledRegistry registry_;
    const sptr<Tests::FakeSoftBus> softBus_ = registry_.Add<Tests::FakeSoftBus>(SOFTBUS_SERVER_SA_ID);
    const std::shared_ptr<SoftBusAdapter> adapter_ = SoftBusAdapter::GetInstance();
    const int32_t served_ = adapter_->CreateSoftBusSessionServer();
};

TEST_F(SoftBusAdapterTest, ServesItsNameAndReportsARefusal)
{
    EXPECT_EQ(served_, DISTNET_SUCCESS);
    EXPECT_EQ(softBus_->servedName, "vexo.communication.network_connectivity_ext.distributed");
    EXPECT_EQ(softBus_->listener.OnMessageReceived, nullptr);
    softBus_->serverResult = SOFTBUS_LIMIT;
    EXPECT_EQ(adapter_->CreateSoftBusSessionServer(), 1004500121);
    EXPECT_EQ(adapter_->RemoveSoftBusSessionServer(), 1004500121);
    EXPECT_TRUE(log_.Contains(" CreateSessionServer fail, -10"));
}

TEST_F(SoftBusAdapterTest, OpensAByteSessionOverTheLinksInOrder)
{
    AnswerOpenWith(0);
    int sessionId = 0;
    ASSERT_EQ(adapter_->OpenSoftBusSession(PEER, sessionId), DISTNET_SUCCESS);
    EXPECT_EQ(sessionId, SESSION);
    const std::string name = SESSION_NAME;
    EXPECT_EQ(softBus_->AllOpened(), std::vector<std::string>{name + "|" + name + "|" + PEER});
    EXPECT_EQ(softBus_->attribute.dataType, TYPE_BYTES);
    EXPECT_EQ(softBus_->attribute.linkTypeNum, 10);
    EXPECT_EQ(std::vector<int>(softBus_->attribute.linkType, softBus_->attribute.linkType + 10),
              (std::vector<int>{1, 2, 4, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_TRUE(log_.Contains(" OpenSoftBusSession id: aaaaa**aaaaa"));
    EXPECT_FALSE(log_.Contains(PEER));
    EXPECT_TRUE(softBus_->AllClosed().empty());
}

TEST_F(SoftBusAdapterTest, RefusedOpenLeavesNoSession)
{
    int sessionId = 0;
    const SessionAttribute attribute{};
    EXPECT_EQ(adapter_->OpenSoftBusSession("", sessionId), 1004500124);
    EXPECT_EQ(adapter_->OpenSoftBusSession(PEER, "", &attribute, sessionId), 1004500124);
    EXPECT_EQ(adapter_->OpenSoftBusSession(PEER, SESSION_NAME, nullptr, sessionId), 1004500124);
    EXPECT_EQ(log_.Count("  OpenSession fail, invalid param!"), 3U);
    EXPECT_TRUE(softBus_->AllOpened().empty());

    softBus_->openResult = SOFTBUS_NO_SUCH_PEER;
    EXPECT_EQ(adapter_->OpenSoftBusSession(PEER, sessionId), 1004500122);
    EXPECT_TRUE(log_.Contains("  OpenSession fail errCode = -3"));
    EXPECT_TRUE(softBus_->AllClosed().empty());

    softBus_->openResult = SESSION;
    AnswerOpenWith(SOFTBUS_PEER_REFUSED);
    EXPECT_EQ(adapter_->OpenSoftBusSession(PEER, sessionId), 1004500122);
    EXPECT_TRUE(log_.Contains("  wait SessionOpen fail, sessionId = 7"));
    EXPECT_EQ(softBus_->AllClosed(), std::vector<int>{SESSION});
}

TEST_F(SoftBusAdapterTest, OpenedCallbackBeforeTheWaitIsLostAndTheOpenTimesOut)
{
    adapter_->SetPending(SESSION, 0);
    int sessionId = 0;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(adapter_->OpenSoftBusSession(PEER, sessionId), 1004500122);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_TRUE(log_.Contains(" GetPendingResult isTimeout!"));
    EXPECT_EQ(softBus_->AllClosed(), std::vector<int>{SESSION});
}

TEST_F(SoftBusAdapterTest, SecondWaitForTheSameSessionFailsAtOnce)
{
    auto first = std::async(std::launch::async, [this] { return adapter_->StartPending(SESSION); });
    ASSERT_TRUE(log_.WaitFor(" StartPending: sessionId=7"));
    EXPECT_FALSE(adapter_->StartPending(SESSION));
    EXPECT_TRUE(log_.Contains(" StartPending: sessionId=7 already exist!"));
    adapter_->SetPending(SESSION, 0);
    EXPECT_TRUE(first.get());
    adapter_->StopPending(SESSION);
}

TEST_F(SoftBusAdapterTest, RequestReturnsWhatIsPostedAndForgetsALateAnswer)
{
    adapter_->CloseSessionCondition(SESSION, 0);  // nobody waits: an answer that came too late
    softBus_->onSend = [this](const auto&) {
        log_.WaitFor(" SendStartHotspotMessage wait result");
        adapter_->CloseSessionCondition(SESSION, HOTSPOT_FAIL_ADD_CONFIG);
    };
    EXPECT_EQ(adapter_->SendStartHotspotMessage(SESSION), -94);
    EXPECT_EQ(softBus_->AllSent().at(0).bytes, std::string("\x03\x02\x00", 3));

    softBus_->onSend = nullptr;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(adapter_->SendStartHotspotMessage(SESSION), 1004500116);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    EXPECT_TRUE(log_.Contains(" SendStartHotspotMessage wait over time"));
    EXPECT_EQ(softBus_->AllClosed(), (std::vector<int>{SESSION, SESSION, SESSION}));

    softBus_->sendResult = SOFTBUS_NO_SUCH_SESSION;
    EXPECT_EQ(adapter_->SendStartHotspotMessage(SESSION), 1004500123);
    EXPECT_EQ(softBus_->AllClosed().size(), 4U);
}

TEST_F(SoftBusAdapterTest, StringTravelsWithItsTerminatorUpToItsLimit)
{
    std::string text(46081, 't');
    EXPECT_EQ(adapter_->SendSoftBusStr(SESSION, text), 1004500123);
    text.pop_back();
    EXPECT_EQ(adapter_->SendSoftBusStr(SESSION, text), 0);
    EXPECT_EQ(adapter_->SendHelloMessage(SESSION), 0);
    const auto sent = softBus_->AllSent();
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[0].bytes, text + '\0');
    EXPECT_EQ(sent[1].bytes, std::string("\x01\x02\x00\x03", 4));
    softBus_->sendResult = SOFTBUS_QUEUE_FULL;
    EXPECT_EQ(adapter_->SendSoftBusStr(SESSION, text), SOFTBUS_QUEUE_FULL);
    EXPECT_EQ(adapter_->SendHelloMessage(SESSION), 1004500123);
}

TEST(DeviceManagerAdapterTest, ListsDevicesWithMaskedNetworkIds)
{
    const Tests::LogCapture log;
    Tests::InstalledRegistry registry;
    const auto adapter = DeviceManagerAdapter::GetInstance();
    EXPECT_EQ(adapter->Init(), DistributedHardware::DM_UNAVAILABLE);

    const auto manager = registry.Add<Tests::FakeDeviceManager>(DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID);
    manager->initResult = 9;
    EXPECT_EQ(adapter->Init(), 9);
    EXPECT_EQ(manager->package, PKG_NAME);

    std::vector<DistributedHardware::DmDeviceInfo> devices;
    EXPECT_EQ(adapter->GetTrustedDeviceList(devices), 0);
    EXPECT_TRUE(devices.empty());
    manager->devices.resize(1);
    PEER.copy(manager->devices[0].networkId, PEER.size());
    std::string("device-1").copy(manager->devices[0].deviceId, 8);
    EXPECT_EQ(adapter->GetTrustedDeviceList(devices), 0);
    EXPECT_EQ(devices.size(), 1U);
    EXPECT_TRUE(log.Contains(" DeviceManagerAdapter::GetTrustedDeviceList deviceId:device-1, networkId:9797"));
    EXPECT_TRUE(log.Contains("******,deviceName:, deviceTypeId:0"));
    EXPECT_FALSE(log.Contains(PEER));
}

}  // namespace
}  // namespace Vexo::NetManagerStandard

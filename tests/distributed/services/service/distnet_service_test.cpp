// Start, release and the replies of the service as its stub writes them.
#include <gmock/gmock.h>

#include <cstring>
#include <future>

#include "platform/ability/ability_ids.h"
#include "platform/access/policy.h"
#include "tests/distributed/services/service/service_fixture.h"

namespace Vexo::NetManagerStandard {
namespace {

using namespace Tests;
using testing::ElementsAre;

enum Request : uint32_t { START = 0, RELEASE = 1, DEVICE_LIST = 4 };
enum Client : pid_t { ONE = 4711, ANOTHER = 4712 };

class DistNetServiceTest : public ServiceTest {
protected:
    // A request of a process with every right; its reply.
    std::unique_ptr<MessageParcel> Send(Request request, Client client = ONE)
    {
        CallerIdentity identity = Security::IdentifySelf();
        identity.pid = client;
        const CallerScope caller(identity);
        MessageParcel data;
        data.WriteInterfaceToken(DistNetService::GetDescriptor());
        auto reply = std::make_unique<MessageParcel>();
        MessageOption option;
        EXPECT_EQ(service_.OnRemoteRequest(request, data, *reply, option), 0);
        return reply;
    }
    int32_t CodeOf(Request request, Client client)
    {
        int32_t code = -1;
        Send(request, client)->ReadInt32(code);
        return code;
    }
    bool IsPublished() { return registry_.manager->GetSystemAbility(COMM_DISTRIBUTED_NET_ABILITY_ID) != nullptr; }
};

TEST_F(DistNetServiceTest, StartThatCannotPublishLeavesItStoppedAndARunningServicePublishesOnce)
{
    std::vector<DmDeviceInfo> devices;
    registry_.manager->addResult = ERR_NOT_FOUND;
    Start();
    EXPECT_TRUE(log_.Contains(" init failed"));
    EXPECT_EQ(service_.GetAvailableDeviceList(devices), 2200003);
    registry_.manager->addResult = ERR_OK;
    Start();
    EXPECT_TRUE(IsPublished());
    EXPECT_EQ(service_.GetAvailableDeviceList(devices), 1004500001);
    registry_.manager->RemoveSystemAbility(COMM_DISTRIBUTED_NET_ABILITY_ID);
    Start();
    EXPECT_TRUE(log_.Contains(" the state is already running"));
    EXPECT_FALSE(IsPublished());
    service_.OnStop();
    Start();
    EXPECT_TRUE(IsPublished()) << "after a stop";
}

TEST_F(DistNetServiceTest, LastClientUnloadsAndAReleaseThatFailsLeavesTheStateAsItWas)
{
    Start();
    auto one = std::async(std::launch::async, [this] { return CodeOf(START, ONE); });
    EXPECT_EQ(CodeOf(START, ANOTHER), 0);
    EXPECT_EQ(one.get(), 0);
    uint32_t state = 77;
    EXPECT_EQ(service_.ReleaseService(state), 0);
    EXPECT_EQ(CodeOf(RELEASE, ONE), 0);
    EXPECT_EQ(registry_.manager->unloads, 0) << "another client still holds the service";
    registry_.manager->unloadResult = ERR_NOT_FOUND;
    EXPECT_EQ(CodeOf(RELEASE, ANOTHER), 2200003);
    EXPECT_EQ(service_.ReleaseService(state), 2200003);
    SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(nullptr);
    EXPECT_EQ(service_.ReleaseService(state), 2200003);
    EXPECT_EQ(state, 77U);
    SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(registry_.manager);
    registry_.manager->unloadResult = ERR_OK;
    EXPECT_EQ(service_.ReleaseService(state), 0);
    EXPECT_EQ(registry_.manager->unloads, 3);
    EXPECT_EQ(state, static_cast<uint32_t>(service_.GetAbilityState()));
}

TEST_F(DistNetServiceTest, DeviceListIsWrittenMemberByMember)
{
    Start();
    DmDeviceInfo device;
    std::strcpy(device.deviceId, "id");
    std::strcpy(device.deviceName, "name");
    device.deviceTypeId = 14;
    std::strcpy(device.networkId, "network");
    device.range = 11;
    device.networkType = 4;
    device.authForm = DistributedHardware::ACROSS_ACCOUNT;
    device.extraData = "{}";
    registry_.Add<FakeDeviceManager>(DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID)->devices = {device};
    const auto reply = Send(DEVICE_LIST);
    std::string texts[4];
    uint32_t count = 0;
    uint16_t type = 0;
    int32_t numbers[4] = {-1, -1, -1, -1};
    EXPECT_TRUE(reply->ReadInt32(numbers[0]) && reply->ReadUint32(count) && reply->ReadString(texts[0]) &&
                reply->ReadString(texts[1]) && reply->ReadUint16(type) && reply->ReadString(texts[2]) &&
                reply->ReadInt32(numbers[1]) && reply->ReadInt32(numbers[2]) && reply->ReadInt32(numbers[3]) &&
                reply->ReadString(texts[3]));
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(type, 14);
    EXPECT_THAT(texts, ElementsAre("id", "name", "network", "{}"));
    EXPECT_THAT(numbers, ElementsAre(0, 11, 4, 2));
    EXPECT_EQ(CodeOf(RELEASE, ONE), 0);
}

}  // namespace
}  // namespace Vexo::NetManagerStandard

// Tests DistNetService: start, release, the replies of its stub, and queries that fail or are answered late.
#include <cstring>

#include "distributed/services/service/distnet_service.h"
#include "platform/ability/ability_ids.h"
#include "platform/access/policy.h"
#include "platform/telephony/core_service_client.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/fake_device_manager.h"
#include "tests/support/fake_wifi.h"
#include "tests/support/log_capture.h"
#include "tests/support/recorded_sys_events.h"

namespace Vexo::NetManagerStandard {
namespace {

using namespace Tests;

class ServiceTest : public testing::Test {
protected:
    ~ServiceTest() override { service_.OnStop(); }
    // Starts the service and waits for its start-up task, because this task must not log into the next test's
    // LogCapture.
    void Start()
    {
        service_.OnStart();
        FFRTUtils::SubmitTaskSync([] {});
    }

    const Tests::LogCapture log_;
    const Tests::RecordedSysEvents events_;
    Tests::InstalledRegistry registry_;
    DistNetService& service_ = DistNetService::GetInstance();
};

class DistNetServiceTest : public ServiceTest {
protected:
    // Sends a request as a process that has every permission. Returns the reply.
    std::unique_ptr<MessageParcel> Send(DistNetInterfaceCode request)
    {
        const CallerScope caller(Security::IdentifySelf());
        MessageParcel data;
        data.WriteInterfaceToken(DistNetService::GetDescriptor());
        auto reply = std::make_unique<MessageParcel>();
        MessageOption option;
        EXPECT_EQ(service_.OnRemoteRequest(static_cast<uint32_t>(request), data, *reply, option), 0);
        return reply;
    }
    bool IsPublished() { return registry_.manager->GetSystemAbility(COMM_DISTRIBUTED_NET_ABILITY_ID) != nullptr; }
};

TEST_F(DistNetServiceTest, FailedPublishKeepsServiceStoppedAndRunningOnePublishesOnce)
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

TEST_F(DistNetServiceTest, FailedReleaseKeepsState)
{
    Start();
    uint32_t state = 77;
    registry_.manager->unloadResult = ERR_NOT_FOUND;
    EXPECT_EQ(service_.ReleaseService(state), 2200003);
    SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(nullptr);
    EXPECT_EQ(service_.ReleaseService(state), 2200003);
    EXPECT_EQ(state, 77U);
    SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(registry_.manager);
    registry_.manager->unloadResult = ERR_OK;
    EXPECT_EQ(service_.ReleaseService(state), 0);
    EXPECT_EQ(registry_.manager->unloads, 2);
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
    MessageParcel expected;
    EXPECT_TRUE(expected.WriteInt32(0) && expected.WriteUint32(1) && expected.WriteString("id") &&
                expected.WriteString("name") && expected.WriteUint16(14) && expected.WriteString("network") &&
                expected.WriteInt32(11) && expected.WriteInt32(4) && expected.WriteInt32(2) &&
                expected.WriteString("{}"));
    const auto bytes = [](MessageParcel& parcel) {
        return std::vector(parcel.GetData(), parcel.GetData() + parcel.GetDataSize());
    };
    EXPECT_EQ(bytes(*Send(DistNetInterfaceCode::GET_AVAILABLE_DEVICE_LIST)), bytes(expected));
    Send(DistNetInterfaceCode::RELEASE_SERVICE);
}

class QueryTest : public ServiceTest {
protected:
    QueryTest() { Start(); }
};

TEST_F(QueryTest, StoppedServiceRefusesRequestsWithoutEvents)
{
    service_.OnStop();
    std::vector<DmDeviceInfo> devices;
    std::string text;
    EXPECT_EQ(service_.StartDistributedNetwork(0, 0, "peer"), 2200003);
    EXPECT_EQ(service_.GetAvailableDeviceList(devices), 2200003);
    EXPECT_EQ(service_.GetRemoteDeviceInfo({"bssid"}, text), 2200003);
    EXPECT_EQ(service_.StopDistributedNetwork(0, 0, "peer"), 0);
    EXPECT_TRUE(events_.Lines().empty());
}

TEST_F(QueryTest, ShortDeviceIdGivesGeneralError)
{
    std::vector<DmDeviceInfo> devices;
    EXPECT_EQ(service_.GetAvailableDeviceList(devices), 1004500001) << "without a device manager";
    registry_.Add<FakeDeviceManager>(DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID)->devices.resize(1);
    EXPECT_EQ(service_.GetAvailableDeviceList(devices), 2200003);
}

TEST_F(QueryTest, BssidComesFromFirstStoredNetwork)
{
    const auto device = registry_.Add<FakeWifiDevice>(WIFI_DEVICE_SYS_ABILITY_ID);
    device->stored.resize(2);
    device->stored[0].bssid = "02:00:5e:10:00:01";
    std::string text;
    EXPECT_EQ(service_.GetRemoteDeviceInfo({"bssid"}, text), 0);
    EXPECT_NE(text.find("\"02:00:5e:10:00:01\""), std::string::npos) << text;
}

// A fake of the telephony service. It stores the callback of a radio query and does not answer. The test answers later.
class SilentCore : public IPCObjectStub, public Telephony::ICoreService {
public:
    sptr<Telephony::INetworkSearchCallback> asked;

    int32_t GetSimState(int32_t, Telephony::SimState&) override { return 0; }
    int32_t GetRadioState(int32_t, const sptr<Telephony::INetworkSearchCallback>& callback) override
    {
        asked = callback;
        return 0;
    }
};

TEST_F(QueryTest, LateRadioAnswerCountsAsOff)
{
    const auto core = registry_.Add<SilentCore>(TELEPHONY_CORE_SERVICE_SYS_ABILITY_ID);
    RADIO_STATE_WAIT = std::chrono::milliseconds(50);
    EXPECT_FALSE(service_.IsRadioOn(0));
    core->asked->OnGetRadioStateCallback(true, 0);
    EXPECT_FALSE(service_.IsRadioOn(0)) << "the late answer was to another query";
}

}  // namespace
}  // namespace Vexo::NetManagerStandard

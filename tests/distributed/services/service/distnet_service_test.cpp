// The one service of the process: start, release, the replies of its stub and its queries, with abilities of the test.
#include <gmock/gmock.h>

#include <cstring>
#include <future>
#include <variant>

#include "distributed/services/service/distnet_service.h"
#include "platform/ability/ability_ids.h"
#include "platform/access/policy.h"
#include "platform/dfx/sinks.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/fake_device_manager.h"
#include "tests/support/fake_telephony.h"
#include "tests/support/fake_wifi.h"
#include "tests/support/log_capture.h"

namespace Vexo::NetManagerStandard {
namespace {

using namespace Tests;
using Telephony::SimState;
using testing::ElementsAre;

// Each event as "DOMAIN NAME type KEY=value KEY=value".
class EventLines : public QuviewDFX::SysEventSink, public Tests::Trail<std::string> {
public:
    int32_t Write(const QuviewDFX::SysEventRecord& record) noexcept override
    {
        std::string line = record.domain + " " + record.name + " " + std::to_string(record.type);
        for (const auto& [key, value] : record.parameters) {
            const auto* number = std::get_if<int32_t>(&value);
            line += " " + key + "=" + (number != nullptr ? std::to_string(*number) : std::get<std::string>(value));
        }
        Add(line);
        return 0;
    }
};

class ServiceTest : public testing::Test {
protected:
    ServiceTest() { QuviewDFX::SetSysEventSink(events_); }
    ~ServiceTest() override
    {
        service_.OnStop();
        QuviewDFX::SetSysEventSink(nullptr);
    }
    // Waits for the start-up task too, so that it logs into this test's capture only.
    void Start()
    {
        service_.OnStart();
        FFRTUtils::SubmitTaskSync([] {});
    }

    const Tests::LogCapture log_;
    const std::shared_ptr<EventLines> events_ = std::make_shared<EventLines>();
    Tests::InstalledRegistry registry_;
    DistNetService& service_ = DistNetService::GetInstance();
};

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

TEST_F(DistNetServiceTest, FailedPublishLeavesItStoppedAndARunningServicePublishesOnce)
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

TEST_F(DistNetServiceTest, LastClientUnloadsAndAFailedReleaseKeepsTheState)
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
    MessageParcel expected;
    EXPECT_TRUE(expected.WriteInt32(0) && expected.WriteUint32(1) && expected.WriteString("id") &&
                expected.WriteString("name") && expected.WriteUint16(14) && expected.WriteString("network") &&
                expected.WriteInt32(11) && expected.WriteInt32(4) && expected.WriteInt32(2) &&
                expected.WriteString("{}"));
    const auto bytes = [](MessageParcel& parcel) {
        return std::vector(parcel.GetData(), parcel.GetData() + parcel.GetDataSize());
    };
    EXPECT_EQ(bytes(*Send(DEVICE_LIST)), bytes(expected));
    EXPECT_EQ(CodeOf(RELEASE, ONE), 0);
}

constexpr const char* BEHAVIOR_EVENT = "NETMANAGER NET_REMOTE_DEVICE_INFO_BEHAVIOR 4";

class QueryTest : public ServiceTest {
protected:
    QueryTest() { Start(); }

    // The answer without the line breaks and tabs of its text.
    std::string Ask(const std::vector<std::string>& items)
    {
        std::string text;
        EXPECT_EQ(service_.GetRemoteDeviceInfo(items, text), 0);
        std::erase_if(text, [](char c) { return c == '\n' || c == '\t'; });
        return text;
    }
    static std::string Item(const std::string& name, const std::string& type, const std::string& value)
    {
        return "\"" + name + R"(":{"variable":"true","valueType":")" + type + R"(","value":)" + value + "}";
    }
};

TEST_F(QueryTest, StoppedServiceRefusesAndReportsNothing)
{
    service_.OnStop();
    std::vector<DmDeviceInfo> devices;
    std::string text;
    EXPECT_EQ(service_.StartDistributedNetwork(0, 0, "peer"), 2200003);
    EXPECT_EQ(service_.GetAvailableDeviceList(devices), 2200003);
    EXPECT_EQ(service_.GetRemoteDeviceInfo({"bssid"}, text), 2200003);
    EXPECT_EQ(service_.StopDistributedNetwork(0, 0, "peer"), 0);
    EXPECT_THAT(events_->Take(), testing::IsEmpty());
}

TEST_F(QueryTest, ShortDeviceIdIsTheGeneralFailure)
{
    std::vector<DmDeviceInfo> devices;
    EXPECT_EQ(service_.GetAvailableDeviceList(devices), 1004500001) << "without a device manager";
    registry_.Add<FakeDeviceManager>(DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID)->devices.resize(1);
    EXPECT_EQ(service_.GetAvailableDeviceList(devices), 2200003);
}

TEST_F(QueryTest, OnlyKnownItemsAreAnsweredEachTimeTheyAreNamed)
{
    EXPECT_EQ(Ask({"unknown", "", "BSSID"}), "{}");
    const auto device = registry_.Add<FakeWifiDevice>(WIFI_DEVICE_SYS_ABILITY_ID);
    const auto hotspot = registry_.Add<FakeWifiHotspot>(WIFI_HOTSPOT_SYS_ABILITY_ID);
    hotspot->config.SetSsid("say \"hi\"");
    device->stored.resize(1);
    device->stored[0].bssid = "02:00:5e:10:00:01";
    const std::string bssid = Item("bssid", "string", "\"02:00:5e:10:00:01\"");
    EXPECT_EQ(Ask({"bssid", "hotspotName", "bssid"}),
              "{" + bssid + "," + Item("hotspotName", "string", R"("say \"hi\"")") + "," + bssid + "}");
}

TEST_F(QueryTest, SmartHotspotNeedsASimARadioAndMobileData)
{
    const auto core = registry_.Add<FakeCoreService>(TELEPHONY_CORE_SERVICE_SYS_ABILITY_ID);
    const auto data = registry_.Add<FakeCellularData>(TELEPHONY_CELLULAR_DATA_SYS_ABILITY_ID);
    const FakeCoreService::Radio on{.isOn = true};
    const FakeCoreService::Radio off{};
    const FakeCoreService::Radio failed{.isOn = true, .errorCode = 9};
    const FakeCoreService::Radio refused{.queryResult = 3};
    struct Case {
        std::array<SimState, 2> sims;
        std::array<FakeCoreService::Radio, 2> radios;
        int32_t dataResult;
        bool dataEnabled;
        bool expected;
    };
    const std::array ready{SimState::NOT_PRESENT, SimState::READY};
    for (const Case& c : {
             Case{ready, {off, on}, 0, true, true},
             Case{{SimState::LOADED, SimState::UNKNOWN}, {on, off}, 0, true, true},
             Case{{SimState::NOT_PRESENT, SimState::NOT_READY}, {on, on}, 0, true, false},
             Case{ready, {off, off}, 0, true, false},
             Case{ready, {failed, refused}, 0, true, false},
             Case{ready, {on, on}, 0, false, false},
             Case{ready, {on, on}, 3, true, false},
         }) {
        core->sims = c.sims;
        core->radios = c.radios;
        data->result = c.dataResult;
        data->isEnabled = c.dataEnabled;
        EXPECT_EQ(Ask({"supportSmartHotSpot"}),
                  "{" + Item("supportSmartHotSpot", "boolean", c.expected ? "true" : "false") + "}");
        EXPECT_THAT(events_->Take(), ElementsAre(BEHAVIOR_EVENT)) << "never a fault";
    }
}

TEST_F(QueryTest, LateRadioAnswerIsIgnoredAndMeansOff)
{
    const auto core = registry_.Add<FakeCoreService>(TELEPHONY_CORE_SERVICE_SYS_ABILITY_ID);
    core->radios[0].answers = false;
    RADIO_STATE_WAIT = std::chrono::milliseconds(50);
    EXPECT_FALSE(service_.IsRadioOn(0));
    core->lastCallback->OnGetRadioStateCallback(true, 0);
    EXPECT_FALSE(service_.IsRadioOn(0)) << "the late answer was to another query";
    RADIO_STATE_WAIT = WAIT_LIMIT;
    core->radios[1].isOn = true;
    EXPECT_TRUE(service_.IsRadioOn(1));
}

}  // namespace
}  // namespace Vexo::NetManagerStandard

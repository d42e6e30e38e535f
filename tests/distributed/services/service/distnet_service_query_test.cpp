#include <gmock/gmock.h>

#include "tests/distributed/services/service/service_fixture.h"
#include "tests/support/fake_telephony.h"
#include "tests/support/fake_wifi.h"

namespace Vexo::NetManagerStandard {
namespace {

using namespace Tests;
using Telephony::SimState;
using testing::ElementsAre;

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

TEST_F(QueryTest, StoppedServiceRefusesWithoutATrace)
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

TEST_F(QueryTest, DeviceIdTooShortToBeMaskedIsTheGeneralFailure)
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

TEST_F(QueryTest, RadioThatDoesNotAnswerInTimeIsOffAndItsLateAnswerIsForgotten)
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

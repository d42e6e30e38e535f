#include <gtest/gtest.h>

#include "distributed/services/service/distnet_errors.h"
#include "distributed/services/service/distnet_service.h"
#include "tests/support/event_capture.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/fake_device_manager.h"
#include "tests/support/fake_telephony.h"
#include "tests/support/fake_wifi.h"
#include "tests/support/log_capture.h"

namespace Vexo::NetManagerStandard {
namespace {

using namespace Tests;
using Telephony::SimState;
using namespace std::chrono_literals;

constexpr const char* BEHAVIOR_EVENT = "NETMANAGER NET_REMOTE_DEVICE_INFO_BEHAVIOR 4";

class QueryTest : public testing::Test {
protected:
    QueryTest()
    {
        service_.OnStart();
        FFRTUtils::SubmitTaskSync([] {});
    }
    ~QueryTest() override { service_.OnStop(); }

    // The answer to one item without the line breaks and tabs of its text.
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

    const LogCapture log_;
    const EventCapture events_;
    InstalledRegistry registry_;
    DistNetService& service_ = DistNetService::GetInstance();
};

TEST_F(QueryTest, DeviceListComesFromTheDeviceManager)
{
    std::vector<DmDeviceInfo> devices;
    EXPECT_EQ(service_.GetAvailableDeviceList(devices), 1004500001) << "without a device manager";
    const auto manager = registry_.Add<FakeDeviceManager>(DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID);
    EXPECT_EQ(service_.GetAvailableDeviceList(devices), 1004500001);
    EXPECT_TRUE(log_.Contains(" GetAvailableDeviceListAsync deviceList empty"));
    manager->devices.resize(1);
    std::string(64, 'd').copy(manager->devices[0].networkId, 64);
    EXPECT_EQ(service_.GetAvailableDeviceList(devices), 0);
    EXPECT_EQ(devices.size(), 1U);
    // An id too short to be masked ends the task; the caller gets the general failure, and the service lives.
    manager->devices[0].networkId[1] = '\0';
    EXPECT_EQ(service_.GetAvailableDeviceList(devices), 2200003);
}

TEST_F(QueryTest, OnlyKnownItemsAreAnsweredEachTimeTheyAreNamed)
{
    EXPECT_EQ(Ask({"unknown", "", "BSSID"}), "{}");
    EXPECT_EQ(events_.Events(), std::vector<std::string>{BEHAVIOR_EVENT});
    const auto device = registry_.Add<FakeWifiDevice>(WIFI_DEVICE_SYS_ABILITY_ID);
    const auto hotspot = registry_.Add<FakeWifiHotspot>(WIFI_HOTSPOT_SYS_ABILITY_ID);
    hotspot->config.SetSsid("say \"hi\"");
    EXPECT_EQ(Ask({"bssid"}), "{" + Item("bssid", "string", "\"\"") + "}") << "no configuration is stored";
    device->stored.resize(2);
    device->stored[0].bssid = "02:00:5e:10:00:01";
    const std::string bssid = Item("bssid", "string", "\"02:00:5e:10:00:01\"");
    EXPECT_EQ(Ask({"bssid", "hotspotName", "bssid"}),
              "{" + bssid + "," + Item("hotspotName", "string", R"("say \"hi\"")") + "," + bssid + "}");
}

TEST_F(QueryTest, FailedWifiItemIsEmptyAndReported)
{
    const std::string empty = "{" + Item("hotspotName", "string", "\"\"") + "," + Item("bssid", "string", "\"\"") + "}";
    EXPECT_EQ(Ask({"hotspotName", "bssid"}), empty);
    EXPECT_TRUE(log_.Contains(" WifiHotspot wifiHotspotPtr == nullptr!"));
    EXPECT_TRUE(log_.Contains(" WifiDevice wifiDevicePtr == nullptr!"));

    registry_.Add<FakeWifiHotspot>(WIFI_HOTSPOT_SYS_ABILITY_ID)->configResult = Wifi::WIFI_DISABLED;
    registry_.Add<FakeWifiDevice>(WIFI_DEVICE_SYS_ABILITY_ID)->configsResult = Wifi::WIFI_FAILED;
    EXPECT_EQ(Ask({"hotspotName", "bssid"}), empty);
    EXPECT_TRUE(log_.Contains(" GetHotspotConfig error: 2"));
    EXPECT_TRUE(log_.Contains(" GetDeviceConfigs error: 5"));

    const std::string fault = "NETMANAGER NET_REMOTE_DEVICE_INFO_FAULT 1 ";
    const std::vector<std::string> each{BEHAVIOR_EVENT, fault + "ERROR_TYPE=-88 ERROR_MSG=get hotspot name error",
                                        fault + "ERROR_TYPE=-89 ERROR_MSG=get current bssid error"};
    std::vector<std::string> twice = each;
    twice.insert(twice.end(), each.begin(), each.end());
    EXPECT_EQ(events_.Events(), twice);
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
        int32_t simResult;
        std::array<FakeCoreService::Radio, 2> radios;
        int32_t dataResult;
        bool dataEnabled;
        bool expected;
        int radioQueries;
    };
    const std::array ready{SimState::NOT_PRESENT, SimState::READY};
    const std::array loaded{SimState::LOADED, SimState::UNKNOWN};
    for (const Case& c : {
             Case{ready, 0, {off, on}, 0, true, true, 2},
             Case{loaded, 0, {on, off}, 0, true, true, 2},
             Case{{SimState::NOT_PRESENT, SimState::NOT_READY}, 0, {on, on}, 0, true, false, 0},
             Case{ready, 2, {on, on}, 0, true, false, 0},
             Case{ready, 0, {off, off}, 0, true, false, 2},
             Case{ready, 0, {failed, refused}, 0, true, false, 2},
             Case{ready, 0, {on, on}, 0, false, false, 2},
             Case{ready, 0, {on, on}, 3, true, false, 2},
         }) {
        core->sims = c.sims;
        core->simResult = c.simResult;
        core->radios = c.radios;
        core->radioQueries = 0;
        data->result = c.dataResult;
        data->isEnabled = c.dataEnabled;
        EXPECT_EQ(Ask({"supportSmartHotSpot"}),
                  "{" + Item("supportSmartHotSpot", "boolean", c.expected ? "true" : "false") + "}");
        EXPECT_EQ(core->radioQueries, c.radioQueries);
    }
    for (const char* text :
         {" GetSimState SimState not ready, 1, 3", " GetSimState 0 error, 2", " GetSimState 1 error, 2",
          " GetSimState SimState not ready, 0, 0", " OnGetRadioStateCallback error = 9", " IsRadioOn error, 3",
          " IsCellularDataEnabled error, 3", " IsCellularDataEnabled false"}) {
        EXPECT_TRUE(log_.Contains(text)) << text;
    }
    EXPECT_EQ(events_.Events(), std::vector<std::string>(8, BEHAVIOR_EVENT)) << "never a fault";
}

TEST_F(QueryTest, RadioThatDoesNotAnswerInTimeIsOffAndItsLateAnswerIsForgotten)
{
    const auto core = registry_.Add<FakeCoreService>(TELEPHONY_CORE_SERVICE_SYS_ABILITY_ID);
    core->radios[0].answers = false;
    RADIO_STATE_WAIT = 50ms;
    EXPECT_FALSE(service_.IsRadioOn(0));
    EXPECT_TRUE(log_.Contains(" GetRadioState timeout"));
    core->lastCallback->OnGetRadioStateCallback(true, 0);
    EXPECT_FALSE(service_.IsRadioOn(0)) << "the late answer was to another query";
    EXPECT_EQ(log_.Count(" GetRadioState timeout"), 2U);

    RADIO_STATE_WAIT = WAIT_LIMIT;
    core->radios[1].isOn = true;
    EXPECT_TRUE(service_.IsRadioOn(1));
    const auto orphan = MakeSptr<GetRadioStateCallback>(nullptr);
    orphan->OnGetRadioStateCallback(true, 0);
    EXPECT_TRUE(log_.Contains(" OnGetRadioStateCallback service null"));
}

}  // namespace
}  // namespace Vexo::NetManagerStandard

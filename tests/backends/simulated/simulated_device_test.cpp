#include "backends/simulated/simulated_device.h"

#include <gtest/gtest.h>

#include <future>

#include "platform/base/files.h"
#include "tests/backends/simulated/simulated_world.h"
#include "tests/support/radio_answer.h"
#include "tests/support/recording_subscriber.h"

namespace Vexo::Simulated {
namespace {

using EventFwk::CommonEventSupport;
using Tests::Eventually;
using Tests::RadioAnswer;
using Tests::TestDevice;

class SimulatedDeviceTest : public testing::Test {
protected:
    TestDevice MakeDevice(const std::vector<std::string>& assignments = {})
    {
        return TestDevice(folder_.Path(), "phone", NETWORK_ID, assignments);
    }
    void WriteState(const std::string& text)
    {
        ASSERT_TRUE(WriteFileAtomically(folder_.Path() / "phone" / DEVICE_STATE_FILE, text, 0600));
    }

    static constexpr const char* NETWORK_ID = "7f3a11";
    const Tests::TempFolder folder_;
    const Tests::LogCapture log_;
};

TEST_F(SimulatedDeviceTest, MissingStateFileIsCreatedWithDefaultsForOwnerOnly)
{
    const TestDevice device = MakeDevice();
    EXPECT_EQ(LoadDeviceState(device.Options().stateDir).value(), DeviceState{});
    const auto permissions = std::filesystem::status(device.Options().stateDir / DEVICE_STATE_FILE).permissions();
    EXPECT_EQ(permissions, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(SimulatedDeviceTest, ScreenAndBatteryChangesBecomeEvents)
{
    TestDevice device = MakeDevice({"screen=off"});
    const std::pair<std::string, std::string> changes[] = {
        {"screen=on", CommonEventSupport::COMMON_EVENT_SCREEN_ON},
        {"battery_low=true", CommonEventSupport::COMMON_EVENT_BATTERY_LOW},
        {"battery_low=false", ""},
        {"screen=off", CommonEventSupport::COMMON_EVENT_SCREEN_OFF},
    };
    const auto events = Tests::RecordingSubscriber::To({changes[0].second, changes[1].second, changes[3].second});
    device.Events()->SubscribeCommonEvent(events);
    std::vector<std::string> expected;
    for (const auto& [assignment, action] : changes) {
        const std::string key = assignment.substr(0, assignment.find('='));
        const size_t told = log_.Count(key + ": ");
        device.Set({assignment});
        ASSERT_TRUE(log_.WaitFor(key + ": ", told + 1));
        if (!action.empty()) {
            expected.push_back(action + " -1 0");
        }
        EXPECT_EQ(events->WaitFor(expected.size()), expected) << assignment;
    }
}

TEST_F(SimulatedDeviceTest, DamagedStateFileIsReportedOnceAndOldStateKept)
{
    TestDevice device = MakeDevice({"sims.0.state=ready"});
    const auto simIs = [&](Telephony::SimState expected) {
        Telephony::SimState sim{};
        return device.Core()->GetSimState(0, sim) == 0 && sim == expected;
    };
    size_t complaints = 0;
    for (const char* damage : {"{\"scren\": \"off\"}", R"({"radio": [3]})", "{"}) {
        WriteState(damage);
        ASSERT_TRUE(log_.WaitFor("keeping the previous state", ++complaints)) << damage;
        EXPECT_TRUE(simIs(Telephony::SimState::READY));
    }
    WriteState(R"({"sims": [{"state": "locked"}]})");
    EXPECT_TRUE(Eventually([&] { return simIs(Telephony::SimState::LOCKED); }));
    EXPECT_EQ(log_.Count("keeping the previous state"), 3U);

    device.End();
    WriteState("{\"scren\"");
    device.Start();
    EXPECT_EQ(log_.Count("device-state.json:1:9: the JSON ends too early"), 1U);
    EXPECT_TRUE(simIs(Telephony::SimState::LOADED)) << "before it, at a start, come the defaults";
    EXPECT_FALSE(LoadDeviceState(device.Options().stateDir)) << "the file stays as it is";
}

TEST_F(SimulatedDeviceTest, StopFailsWaitsAndOpenRadioQueries)
{
    TestDevice device = MakeDevice({"faults.wifi.get_configs.delay_ms=60000", "hotspot.active_at_start=true",
                                    "faults.telephony.radio_callback.no_answer=true"});
    EXPECT_TRUE(Eventually([&] { return device.Air().size() == 1; }));
    const auto station = device.Station();
    auto slow = std::async(std::launch::async, [station] {
        std::vector<Wifi::WifiDeviceConfig> configs;
        return station->GetDeviceConfigs(configs, false);
    });
    auto waiting =
        std::async(std::launch::async, [station] { return station->WaitForChange({}, std::chrono::minutes(1)).state; });
    const auto answer = MakeSptr<RadioAnswer>();
    EXPECT_EQ(device.Core()->GetRadioState(0, answer), Telephony::TELEPHONY_OK);
    device.Stop();
    EXPECT_EQ(slow.get(), Wifi::WIFI_NO_ANSWER);
    EXPECT_EQ(waiting.get(), Wifi::WifiLinkState::IDLE);
    EXPECT_EQ(answer->answer.get_future().get(), std::make_pair(false, int32_t{Telephony::TELEPHONY_NO_ANSWER}));
    EXPECT_TRUE(device.Air().empty());
    EXPECT_NE(device.Hotspot()->EnableHotspot(Wifi::ServiceType::DEFAULT), Wifi::WIFI_OK);
    EXPECT_EQ(answer->calls, 1);
}

TEST_F(SimulatedDeviceTest, StationsIgnoreDamagedAndLeftOverAirRecords)
{
    TestDevice device = MakeDevice();
    const std::filesystem::path air = device.Options().airDir;
    const AirRecord good{"Garden", "02:00:5e:10:00:01", HotspotSecurity::OPEN, "", AIR_ADDRESS_RANGE};
    AirRecord unproven = good;
    unproven.security = HotspotSecurity::WPA2;
    for (const std::string& damaged : {std::string("{"), std::string("[]"), std::string(R"({"version": 2})"),
                                       std::string(R"({"version": 1, "ssid": 5})"), SerializeAirRecord(unproven)}) {
        ASSERT_TRUE(WriteFileAtomically(air / "hotspot-bad.json", damaged, 0644));
        EXPECT_TRUE(device.Air().empty()) << damaged;
    }
    ASSERT_TRUE(WriteFileAtomically(folder_.Path() / "elsewhere.json", SerializeAirRecord(good), 0644));
    std::filesystem::create_symlink(folder_.Path() / "elsewhere.json", air / "hotspot-link.json");
    EXPECT_TRUE(device.Air().empty()) << "a link";
    ASSERT_TRUE(WriteFileAtomically(air / "hotspot-7f3a11.json", SerializeAirRecord(good), 0644));
    EXPECT_EQ(device.Air(), std::vector<AirRecord>{good});
    device.End();
    device.Start();
    EXPECT_TRUE(device.Air().empty()) << "a record of an earlier run of the same device";
}

}  // namespace
}  // namespace Vexo::Simulated

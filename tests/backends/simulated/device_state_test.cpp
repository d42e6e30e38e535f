#include "backends/simulated/device_state.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "tests/support/temp_folder.h"

namespace Vexo::Simulated {
namespace {

TEST(DeviceStateTest, DamagedFileIsRefusedWithFileKeyAndAllowedValues)
{
    const std::pair<const char*, const char*> cases[] = {
        {R"({"scren": "on"})", R"(device-state.json: scren: unknown key (did you mean "screen"?))"},
        {R"({"wifi": {"join_ms": 60001}})", "device-state.json: wifi.join_ms: 60001 is out of range (0 to 60000)"},
        {R"({"hotspot": {"ssid": "123456789012345678901234567890123"}})",
         R"(device-state.json: hotspot.ssid: "123456789012345678901234567890123" has 33 bytes )"
         R"((empty, or 1 to 32 bytes; \\ is a backslash, \xNN any byte))"},
        {R"({"hotspot": {"ssid": "caf\\x0"}})",
         R"(device-state.json: hotspot.ssid: "caf\\x0" cannot be unescaped: the backslash at byte 4 begins neither )"
         R"(\\ nor \xNN (empty, or 1 to 32 bytes; \\ is a backslash, \xNN any byte))"},
        {R"({"hotspot": {"key": "seven.7"}})",
         "device-state.json: hotspot.key: the value has 7 bytes (empty, or 8 to 63 bytes)"},
        {R"({"network": {"in_reach": "office:80,home:101"}})",
         R"(device-state.json: network.in_reach: "office:80,home:101" is not such a list )"
         R"((empty, or a list of NAME:PERCENT: "office:80,home:40"))"},
        {R"({"battery": {"percent": "full"}})",
         R"(device-state.json: battery.percent: "full" is not allowed ("unknown", or 0 to 100))"},
    };
    for (const auto& [json, message] : cases) {
        EXPECT_EQ(ParseDeviceState(json).error().message, message);
    }
}

TEST(DeviceStateTest, HotspotKeyIsDescribedButNotShown)
{
    const auto shown = [](const DeviceState& state) {
        const auto entries = DescribeDeviceState(state);
        return *std::find_if(entries.begin(), entries.end(),
                             [](const auto& entry) { return entry.key == "hotspot.key"; });
    };
    DeviceState state;
    EXPECT_EQ(shown(state).value, "generated");
    EXPECT_TRUE(shown(state).isDefault);
    ASSERT_TRUE(SetByPath(state, "hotspot.key", "example8"));
    EXPECT_EQ(shown(state).value, "set");
    EXPECT_FALSE(shown(state).isDefault);
}

TEST(DeviceStateTest, UpdateIsAtomicAndConcurrentUpdatesAreKept)
{
    const Tests::TempFolder folder;
    EXPECT_FALSE(UpdateDeviceState(folder.Path(), {"screen=off"})) << "there is no file yet";
    ASSERT_TRUE(SaveDeviceState(folder.Path(), DeviceState{}));
    EXPECT_EQ(UpdateDeviceState(folder.Path(), {"screen=off", "battery_low"}).error().message,
              "battery_low: a value is missing (KEY=VALUE)");
    EXPECT_EQ(UpdateDeviceState(folder.Path(), {"=off"}).error().message, "\"=off\": a key is missing (KEY=VALUE)");
    EXPECT_FALSE(UpdateDeviceState(folder.Path(), {"screen=off", "battery_low=maybe"}));
    EXPECT_EQ(LoadDeviceState(folder.Path()).value(), DeviceState{});
    {
        std::vector<std::jthread> writers;
        for (const char* assignment : {"screen=off", "battery_low=true", "radio.1=on", "hotspot.ssid=a=b"}) {
            writers.emplace_back([&, assignment] { EXPECT_TRUE(UpdateDeviceState(folder.Path(), {assignment})); });
        }
    }
    const DeviceState state = LoadDeviceState(folder.Path()).value();
    EXPECT_FALSE(state.screenOn);
    EXPECT_TRUE(state.batteryLow);
    EXPECT_TRUE(state.radio[1]);
    EXPECT_EQ(state.hotspotSsid, "a=b");
}

}  // namespace
}  // namespace Vexo::Simulated

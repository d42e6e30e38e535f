#include "backends/simulated/device_state.h"

#include <gtest/gtest.h>

#include <fstream>
#include <thread>

#include "tests/support/temp_folder.h"

namespace Vexo::Simulated {
namespace {

TEST(DeviceStateTest, AWrittenStateReadsBackTheSameAndTheDefaultsLeaveFaultsOut)
{
    DeviceState state;
    for (const auto& [key, value] :
         std::vector<std::pair<const char*, const char*>>{{"screen", "off"},
                                                          {"sims.1.state", "locked"},
                                                          {"radio.1", "on"},
                                                          {"wifi.join_ms", "60000"},
                                                          {"hotspot.ssid", "Gar\"den\\ \xC3\xA9"},
                                                          {"hotspot.security", "wpa3"},
                                                          {"faults.hotspot.enable.code", "-2147483648"},
                                                          {"faults.telephony.radio_callback.no_answer", "true"}}) {
        ASSERT_TRUE(SetByPath(state, key, value)) << key;
    }
    const auto read = ParseDeviceState(SerializeDeviceState(state));
    ASSERT_TRUE(read) << read.Message();
    EXPECT_EQ(read.Value(), state);
    EXPECT_EQ(read.Value().FaultOf(PlatformCall::HOTSPOT_ENABLE).code, std::numeric_limits<int32_t>::min());
    EXPECT_EQ(SerializeDeviceState(DeviceState{}).find("faults"), std::string::npos);
    EXPECT_EQ(ParseDeviceState("{}").Value(), DeviceState{});
}

TEST(DeviceStateTest, ADamagedFileIsRefusedWithFileKeyAndWhatIsAllowed)
{
    const std::pair<const char*, const char*> cases[] = {
        {"", "device-state.json: not valid JSON at line 1, column 1"},
        {"{\"screen\": \"on\",\n \"radio\": [", "device-state.json: not valid JSON at line 2"},
        {"[]", "device-state.json: the whole file: must be an object"},
        {R"({"scren": "on"})", R"(device-state.json: scren: unknown key (did you mean "screen"?))"},
        {R"({"screen": true})", "device-state.json: screen: true is not allowed (off or on)"},
        {R"({"screen": "on", "screen": "off"})", "device-state.json: screen: given twice"},
        {R"({"battery_low": "true"})",
         R"(device-state.json: battery_low: the text "true" is not allowed (true or false))"},
        {R"({"sims": "ready"})", "device-state.json: sims: must be a list"},
        {R"({"sims": [{"state": "redy"}]})",
         R"(device-state.json: sims.0.state: "redy" is not allowed (unknown, not_present, locked, )"
         R"(not_ready, ready or loaded))"},
        {R"({"radio": ["on", "on", "on"]})", "device-state.json: radio.2: unknown key"},
        {R"({"wifi.join_ms": 3})", "device-state.json: \"wifi.join_ms\": unknown key"},
        {R"({"wifi": {"join_ms": 60001}})", "device-state.json: wifi.join_ms: 60001 is out of range (0 to 60000)"},
        {R"({"wifi": {"join_ms": 0.5}})", "device-state.json: wifi.join_ms: 0.5 is not a whole number (0 to 60000)"},
        {R"({"wifi": {"join_ms": 1e400}})", "device-state.json: wifi.join_ms: inf is out of range"},
        {R"({"hotspot": {"key": "seven.7"}})",
         "device-state.json: hotspot.key: is 7 bytes long (empty, or 8 to 63 bytes)"},
        {R"({"faults": {"hotspot": {"enabel": {"code": 1}}}})",
         "device-state.json: faults.hotspot.enabel: unknown key"},
    };
    for (const auto& [json, message] : cases) {
        const auto parsed = ParseDeviceState(json);
        ASSERT_FALSE(parsed) << json;
        EXPECT_EQ(parsed.Message().rfind(message, 0), 0U) << parsed.Message();
    }
    EXPECT_FALSE(ParseDeviceState(std::string("{}\0{", 4)));
}

TEST(DeviceStateTest, TypedValuesAreCheckedAndAFailedOneChangesNothing)
{
    DeviceState state;
    for (const auto& [key, value] :
         std::vector<std::pair<const char*, const char*>>{{"screen", "ON"},
                                                          {"battery_low", "1"},
                                                          {"wifi.join_ms", "12ms"},
                                                          {"wifi.join_ms", ""},
                                                          {"wifi.join_ms", "-1"},
                                                          {"hotspot.ssid", "a name of more than thirty-two bytes"},
                                                          {"sims", "ready"},
                                                          {"sims.2.state", "ready"},
                                                          {"", ""}}) {
        EXPECT_FALSE(SetByPath(state, key, value)) << key << "=" << value;
    }
    EXPECT_EQ(state, DeviceState{});
}

TEST(DeviceStateTest, TheDescriptionListsEveryKeyAndNeverTheWifiKey)
{
    DeviceState state;
    const auto valueOf = [&](const std::string& key) {
        for (const DeviceStateEntry& entry : DescribeDeviceState(state)) {
            if (entry.key == key) {
                return entry.value + (entry.isDefault ? " (default)" : "");
            }
        }
        return std::string("missing");
    };
    EXPECT_EQ(valueOf("hotspot.key"), "generated (default)");
    EXPECT_EQ(valueOf("sims.0.state"), "loaded (default)");
    ASSERT_TRUE(SetByPath(state, "hotspot.key", "not-a-real-key"));
    EXPECT_EQ(valueOf("hotspot.key"), "set");
    // What is shown can be typed: help, table and parser agree.
    for (const DeviceStateEntry& entry : DescribeDeviceState(DeviceState{})) {
        EXPECT_FALSE(entry.allowed.empty() || entry.help.empty()) << entry.key;
        if (entry.key != "hotspot.key") {
            EXPECT_TRUE(SetByPath(state, entry.key, entry.value)) << entry.key;
        }
    }
}

TEST(DeviceStateTest, AnUpdateIsAllOrNothingAndConcurrentOnesLoseNothing)
{
    const Tests::TempFolder folder;
    EXPECT_FALSE(UpdateDeviceState(folder.Path(), {"screen=off"})) << "there is no file yet";
    ASSERT_TRUE(SaveDeviceState(folder.Path(), DeviceState{}));
    EXPECT_EQ(UpdateDeviceState(folder.Path(), {"screen=off", "battery_low"}).Message(),
              "battery_low: a value is missing (KEY=VALUE)");
    EXPECT_FALSE(UpdateDeviceState(folder.Path(), {"screen=off", "battery_low=maybe"}));
    EXPECT_EQ(LoadDeviceState(folder.Path()).Value(), DeviceState{});
    {
        std::vector<std::jthread> writers;
        for (const char* assignment : {"screen=off", "battery_low=true", "radio.1=on", "hotspot.ssid=a=b"}) {
            writers.emplace_back([&, assignment] { EXPECT_TRUE(UpdateDeviceState(folder.Path(), {assignment})); });
        }
    }
    const DeviceState state = LoadDeviceState(folder.Path()).Value();
    EXPECT_FALSE(state.screenOn);
    EXPECT_TRUE(state.batteryLow);
    EXPECT_TRUE(state.radio[1]);
    EXPECT_EQ(state.hotspotSsid, "a=b");
}

}  // namespace
}  // namespace Vexo::Simulated

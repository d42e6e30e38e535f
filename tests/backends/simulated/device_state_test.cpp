#include "backends/simulated/device_state.h"

#include <gtest/gtest.h>

#include <fstream>
#include <thread>

#include "tests/support/temp_folder.h"

namespace Vexo::Simulated {
namespace {

TEST(DeviceStateTest, ADamagedFileIsRefusedWithFileKeyAndWhatIsAllowed)
{
    const std::pair<const char*, const char*> cases[] = {
        {"{\"screen\": \"on\",\n \"radio\": [", "device-state.json:2:12: the JSON ends too early"},
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
        {R"({"hotspot": {"ssid": "caf\u0000"}})", R"(device-state.json: a text holds \u0000)"},
        {R"({"hotspot": {"ssid": "caf\\x0"}})",
         R"(device-state.json: hotspot.ssid: the backslash at byte 4 begins neither \\ nor \xNN (empty, or)"},
        {R"({"faults": {"hotspot": {"enabel": {"code": 1}}}})",
         "device-state.json: faults.hotspot.enabel: unknown key"},
    };
    for (const auto& [json, message] : cases) {
        const auto parsed = ParseDeviceState(json);
        ASSERT_FALSE(parsed) << json;
        EXPECT_EQ(parsed.Message().rfind(message, 0), 0U) << parsed.Message();
    }
}

TEST(DeviceStateTest, AnSsidOfAnyBytesStaysJsonThatOthersCanDecode)
{
    const std::pair<std::string, const char*> cases[] = {
        {"Garden", R"("Garden")"},
        {{"a\0b", 3}, R"("a\\x00b")"},
        {R"(\x00)", R"("\\\\x00")"},
        {"Gr\xc3\xbcn\x7f", "\"Gr\xc3\xbcn\\\\x7f\""},
        {"\xc3", R"("\\xc3")"},                    // the rest of the character is missing
        {"\xc0\x80", R"("\\xc0\\x80")"},           // longer than the character needs
        {"\xed\xa0\x80", R"("\\xed\\xa0\\x80")"},  // half of a surrogate pair
    };
    for (const auto& [ssid, written] : cases) {
        DeviceState state;
        state.hotspotSsid = ssid;
        const std::string json = SerializeDeviceState(state);
        EXPECT_NE(json.find(written), std::string::npos) << json;
        EXPECT_EQ(ParseDeviceState(json).Value().hotspotSsid, ssid);
    }
}

TEST(DeviceStateTest, AnUpdateIsAllOrNothingAndConcurrentOnesLoseNothing)
{
    const Tests::TempFolder folder;
    EXPECT_FALSE(UpdateDeviceState(folder.Path(), {"screen=off"})) << "there is no file yet";
    ASSERT_TRUE(SaveDeviceState(folder.Path(), DeviceState{}));
    EXPECT_EQ(UpdateDeviceState(folder.Path(), {"screen=off", "battery_low"}).Message(),
              "battery_low: a value is missing (KEY=VALUE)");
    EXPECT_EQ(UpdateDeviceState(folder.Path(), {"=off"}).Message(), "\"=off\": a key is missing (KEY=VALUE)");
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

// What the parser takes from documents, and what the files give the configuration center.
#include "distributed/services/converged/configuration/configuration_parser.h"

#include <gtest/gtest.h>

#include <fstream>

#include "distributed/services/converged/configuration/configuration_center_interface.h"
#include "platform/config_policy/config_policy.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Tests {
namespace {

using NetManagerStandard::ConfigurationCenterInterface;
using NetManagerStandard::ConfigurationParser;

using Document = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

Document Parse(const std::string& text)
{
    return {cJSON_Parse(text.c_str()), &cJSON_Delete};
}

TEST(ConfigurationParserTest, DeviceTypesComeWithTheirFlagsFromKeysOfAnyCase)
{
    const LogCapture log;
    ConfigurationParser parser;
    EXPECT_TRUE(parser.ParseDeviceConfig(Parse(R"({"device": {"deviceCaps": [
        {"TYPE": "phone", "Use_Network": true, "provide_network": true},
        {"type": "phone", "use_network": false},
        {"name": "nobody"}, {"type": 7}, 12,
        {"type": "watch", "use_network": 1, "provide_network": "true"},
        {"type": "", "provide_network": true}]}})")
                                             .get()));
    EXPECT_EQ(log.Count(" Did't define name in json."), 3U);
    const struct {
        const char* type;
        bool isUse;
        bool isProvide;
    } cases[] = {{"phone", true, true}, {"watch", false, false}, {"", false, true}};
    for (const auto& row : cases) {
        bool isUse = !row.isUse;
        bool isProvide = !row.isProvide;
        EXPECT_TRUE(parser.GetDeviceNetFeature(row.type, isUse, isProvide)) << row.type;
        EXPECT_EQ(isUse, row.isUse) << row.type;
        EXPECT_EQ(isProvide, row.isProvide) << row.type;
    }
    bool isUse = true;
    bool isProvide = true;
    EXPECT_FALSE(parser.GetDeviceNetFeature("tablet", isUse, isProvide));
    EXPECT_TRUE(isUse && isProvide);
    EXPECT_EQ(log.Count(" Can't find tablet's config."), 1U);
    parser.ClearConfig();
    EXPECT_FALSE(parser.GetDeviceNetFeature("phone", isUse, isProvide));
}

TEST(ConfigurationParserTest, CloseTimesComeFromExactKeysAndZeroCountsAsNone)
{
    const LogCapture log;
    ConfigurationParser parser;
    EXPECT_TRUE(parser.ParseScenarioConfig(Parse(R"({"scenario": {"deviceCaps": [
        {"type": "phone", "screen_off_auto_close_time": 1500.9},
        {"type": "phone", "screen_off_auto_close_time": 2},
        {"TYPE": "tv", "screen_off_auto_close_time": 3},
        {"type": "watch", "screen_off_auto_close_time": "4"},
        {"type": "late", "screen_off_auto_close_time": 1e12},
        {"type": "zero", "screen_off_auto_close_time": 0}]}})")
                                               .get()));
    EXPECT_EQ(log.Count(" Did't define name in json."), 1U);
    EXPECT_EQ(log.Count(" Did't define screen_off_auto_close_time in json."), 1U);
    int time = -1;
    for (const char* type : {"tv", "watch", "zero"}) {
        EXPECT_FALSE(parser.GetDeviceNetOffTime(type, time)) << type;
    }
    EXPECT_EQ(time, -1);
    EXPECT_EQ(log.Count(" Can't find "), 2U);
    EXPECT_EQ(log.Count(" scenarioInfoConf_ iter is nullptr"), 1U);
    EXPECT_TRUE(parser.GetDeviceNetOffTime("phone", time));
    EXPECT_EQ(time, 1500);
    EXPECT_TRUE(parser.GetDeviceNetOffTime("late", time));
    EXPECT_EQ(time, 2147483647);
}

TEST(ConfigurationParserTest, TheFrameOfADocumentMustBeThereButADevicesListMayBeMissing)
{
    const struct {
        const char* text;
        bool isDevice;
        bool isScenario;
        const char* line;
    } cases[] = {
        {R"({"device": {}, "scenario": {}})", true, false, " Did't define deviceCaps in json."},
        {R"({"device": {"deviceCaps": {}}, "scenario": {"deviceCaps": {}}})", true, false, "define deviceCaps in"},
        {R"({"Device": {}, "scenario": {"deviceCaps": []}})", false, true, " Did't define device in json."},
        {R"({"device": [], "scenario": []})", false, false, " Did't define scenario in json."},
    };
    for (const auto& row : cases) {
        const LogCapture log;
        ConfigurationParser parser;
        const Document json = Parse(row.text);
        EXPECT_EQ(parser.ParseDeviceConfig(json.get()), row.isDevice) << row.text;
        EXPECT_EQ(parser.ParseScenarioConfig(json.get()), row.isScenario) << row.text;
        EXPECT_EQ(log.Count(row.line), 1U) << row.text;
    }
}

TEST(ConfigurationCenterTest, FilesAreLoadedButTheirSettingsAreNotHandedOver)
{
    const TempFolder folder;
    const std::filesystem::path files = folder.Path() / "etc/communication/network_connectivity_ext";
    std::filesystem::create_directories(files);
    SetConfigPolicyRoots({folder.Path()});
    const auto center = ConfigurationCenterInterface::GetInstance();
    ASSERT_EQ(center, ConfigurationCenterInterface::GetInstance());

    constexpr int32_t CENTER_ERROR = 1004500113;
    const std::string parseLines[] = {" Did't define device in json.", " Parse device config failed.",
                                      " Did't define scenario in json.", " Parse scenario config failed."};
    const struct {
        const char* newFile;
        const char* text;
        std::string loadLine;
        size_t parsed;
    } steps[] = {
        {nullptr, "", " Load device config failed.", 0},
        {"device.json", R"({"device": {"deviceCaps": [{"type": "default", "use_network": true}]}})",
         " Load scenario config failed.", 0},
        {"scenario.json", R"({"scenario": {"deviceCaps": []}})", "", 1},
    };
    for (const auto& step : steps) {
        if (step.newFile != nullptr) {
            std::ofstream(files / step.newFile) << step.text;
        }
        const LogCapture log;
        EXPECT_EQ(center->InitConfigurationCenter(), CENTER_ERROR);
        EXPECT_EQ(log.Count(" Init ConfigurationCenter."), 1U);
        EXPECT_EQ(log.Count(" Json file path error."), 1U - step.parsed);
        EXPECT_EQ(log.Count(step.loadLine.empty() ? " Load " : step.loadLine), 1U - step.parsed);
        for (const std::string& line : parseLines) {
            EXPECT_EQ(log.Count(line), step.parsed) << line;
        }
    }
    const LogCapture log;
    bool isUse = false;
    bool isProvide = false;
    int time = 0;
    EXPECT_FALSE(center->GetDeviceNetFeature("default", isUse, isProvide));
    EXPECT_FALSE(center->GetDeviceNetOffTime("default", time));
    EXPECT_EQ(log.Count(" Can't find default's config."), 2U);
}

}  // namespace
}  // namespace Vexo::Tests

// What the parser takes from documents, and what the files give the configuration center.
#include "distributed/services/converged/configuration/configuration_parser.h"

#include <gtest/gtest.h>

#include <fstream>

#include "distributed/services/converged/configuration/configuration_center_interface.h"
#include "platform/config_policy/config_policy.h"
#include "tests/support/json_document.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Tests {
namespace {

using NetManagerStandard::ConfigurationCenterInterface;
using NetManagerStandard::ConfigurationParser;

TEST(ConfigurationParserTest, DeviceTypesComeWithTheirFlagsFromKeysOfAnyCase)
{
    ConfigurationParser parser;
    EXPECT_TRUE(parser.ParseDeviceConfig(Parse(R"({"device": {"deviceCaps": [
        {"TYPE": "phone", "Use_Network": true}, {"type": "phone", "provide_network": true},
        {"name": "nobody"}, {"type": 7}, 12,
        {"type": "watch", "use_network": 1, "provide_network": "true"}]}})")
                                             .get()));
    for (const std::string type : {"phone", "watch"}) {
        bool isUse = false;
        bool isProvide = true;
        EXPECT_TRUE(parser.GetDeviceNetFeature(type, isUse, isProvide));
        EXPECT_EQ(isUse, type == "phone");
        EXPECT_FALSE(isProvide) << "the first of two holds, and only the literal true counts";
    }
}

TEST(ConfigurationParserTest, CloseTimesComeFromExactKeysAndZeroCountsAsNone)
{
    ConfigurationParser parser;
    EXPECT_TRUE(parser.ParseScenarioConfig(Parse(R"({"scenario": {"deviceCaps": [
        {"type": "phone", "screen_off_auto_close_time": 1500.9}, {"type": "phone", "screen_off_auto_close_time": 2},
        {"TYPE": "tv", "screen_off_auto_close_time": 3}, {"type": "watch", "screen_off_auto_close_time": "4"},
        {"type": "zero", "screen_off_auto_close_time": 0}]}})")
                                               .get()));
    int time = -1;
    for (const char* type : {"tv", "watch", "zero"}) {
        EXPECT_FALSE(parser.GetDeviceNetOffTime(type, time)) << type;
    }
    EXPECT_EQ(time, -1);
    EXPECT_TRUE(parser.GetDeviceNetOffTime("phone", time));
    EXPECT_EQ(time, 1500);
}

TEST(ConfigurationParserTest, ADevicesListMayBeMissingButNotAScenarios)
{
    ConfigurationParser parser;
    EXPECT_TRUE(parser.ParseDeviceConfig(Parse(R"({"device": {"deviceCaps": {}}})").get()));
    EXPECT_FALSE(parser.ParseDeviceConfig(Parse(R"({"Device": {}})").get()));
    EXPECT_FALSE(parser.ParseScenarioConfig(Parse(R"({"scenario": {"deviceCaps": {}}})").get()));
}

TEST(ConfigurationCenterTest, FilesAreLoadedButTheirSettingsAreNotHandedOver)
{
    const TempFolder folder;
    const std::filesystem::path files = folder.Path() / "etc/communication/network_connectivity_ext";
    std::filesystem::create_directories(files);
    SetConfigPolicyRoots({folder.Path()});
    const auto center = ConfigurationCenterInterface::GetInstance();

    const std::pair<const char*, const char*> steps[] = {{"", " Load device config failed."},
                                                         {"device.json", " Load scenario config failed."},
                                                         {"scenario.json", " Parse scenario config failed."}};
    for (const auto& [newFile, line] : steps) {
        std::ofstream(files / newFile) << R"({"device": {"deviceCaps": [{"type": "default"}]}, "scenario": {}})";
        const LogCapture log;
        EXPECT_EQ(center->InitConfigurationCenter(), 1004500113);
        EXPECT_EQ(log.Count(line), 1U) << line;
    }
    bool isUse = false;
    bool isProvide = false;
    int time = 0;
    EXPECT_FALSE(center->GetDeviceNetFeature("default", isUse, isProvide));
    EXPECT_FALSE(center->GetDeviceNetOffTime("default", time));
}

}  // namespace
}  // namespace Vexo::Tests

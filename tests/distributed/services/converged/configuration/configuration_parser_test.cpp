// What the parser takes from documents.
#include "distributed/services/converged/configuration/configuration_parser.h"

#include <gtest/gtest.h>

#include "platform/base/json.h"

namespace Vexo::Tests {
namespace {

using NetManagerStandard::ConfigurationParser;

TEST(ConfigurationParserTest, DeviceTypesComeWithTheirFlagsFromKeysOfAnyCase)
{
    ConfigurationParser parser;
    EXPECT_TRUE(parser.ParseDeviceConfig(ParseJson(R"({"device": {"deviceCaps": [
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
    EXPECT_TRUE(parser.ParseScenarioConfig(ParseJson(R"({"scenario": {"deviceCaps": [
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
    EXPECT_TRUE(parser.ParseDeviceConfig(ParseJson(R"({"device": {"deviceCaps": {}}})").get()));
    EXPECT_FALSE(parser.ParseDeviceConfig(ParseJson(R"({"Device": {}})").get()));
    EXPECT_FALSE(parser.ParseScenarioConfig(ParseJson(R"({"scenario": {"deviceCaps": {}}})").get()));
}

}  // namespace
}  // namespace Vexo::Tests

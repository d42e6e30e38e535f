// The device configuration that the package brings, read by the service's own parser.
#include <gtest/gtest.h>

#include "distributed/services/converged/configuration/configuration_parser.h"
#include "platform/base/files.h"
#include "platform/base/json.h"

namespace Vexo::NetManagerStandard {
namespace {

TEST(ShippedFilesTest, TheDeviceConfigurationSaysWhatTheServiceAsksFor)
{
    const auto read = [](const std::string& name) {
        return ParseWholeJson(
            ReadWholeFile(DISTNET_SHIPPED_FILES "/etc/communication/network_connectivity_ext/" + name, 1 << 16)
                .value());
    };
    ConfigurationParser parser;
    ASSERT_TRUE(parser.ParseDeviceConfig(read("device.json").value().get()));
    ASSERT_TRUE(parser.ParseScenarioConfig(read("scenario.json").value().get()));
    bool uses = false;
    bool provides = false;
    int closeTime = 0;
    EXPECT_TRUE(parser.GetDeviceNetFeature("default", uses, provides));
    EXPECT_TRUE(uses && provides);
    EXPECT_TRUE(parser.GetDeviceNetOffTime("default", closeTime));
    EXPECT_GE(closeTime, 60'000) << "milliseconds";
}

}  // namespace
}  // namespace Vexo::NetManagerStandard

// Tests what the service reads from its product files: settings of device types, numbers, sizes and paths.
#include <fcntl.h>
#include <gtest/gtest.h>

#include "distributed/services/converged/configuration/configuration_parser.h"
#include "distributed/services/converged/configuration/converged_security.h"
#include "distributed/services/converged/configuration/distributed_json_util.h"
#include "platform/base/files.h"
#include "platform/base/json.h"
#include "platform/base/unique_fd.h"
#include "tests/support/temp_folder.h"

// This option makes the sanitizer record the whole call stack of each allocation, although cJSON has no frame pointers.
// The configuration loader leaks by contract. The leak check ignores this leak if the loader's name is in the call
// stack (tests/support/lsan.supp).
extern "C" const char* DefaultOptions() __asm__("__asan_default_options");
const char* DefaultOptions()
{
    return "fast_unwind_on_malloc=0";
}

namespace Vexo::Tests {
namespace {

using NetManagerStandard::ConfigurationParser;
using NetManagerStandard::ConvergedSecurity;
using JsonUtil = NetManagerStandard::DistributedJsonUtil;

class ConfigurationParserTest : public testing::Test {
protected:
    bool ParseDevice(const std::string& json) { return parser_.ParseDeviceConfig(ParseJson(json).get()); }
    bool ParseScenario(const std::string& json) { return parser_.ParseScenarioConfig(ParseJson(json).get()); }

    ConfigurationParser parser_;
};

TEST_F(ConfigurationParserTest, DeviceTypeFlagsAreReadFromKeysOfAnyCase)
{
    EXPECT_TRUE(ParseDevice(R"({"device": {"deviceCaps": [
        {"TYPE": "phone", "Use_Network": true}, {"type": "phone", "provide_network": true},
        {"name": "nobody"}, {"type": 7}, 12,
        {"type": "watch", "use_network": 1, "provide_network": "true"}]}})"));
    for (const std::string type : {"phone", "watch"}) {
        bool isUse = false;
        bool isProvide = true;
        EXPECT_TRUE(parser_.GetDeviceNetFeature(type, isUse, isProvide));
        EXPECT_EQ(isUse, type == "phone");
        EXPECT_FALSE(isProvide) << "the first of two holds, and only the literal true counts";
    }
}

TEST_F(ConfigurationParserTest, CloseTimesNeedExactKeysAndZeroMeansNone)
{
    EXPECT_TRUE(ParseScenario(R"({"scenario": {"deviceCaps": [
        {"type": "phone", "screen_off_auto_close_time": 1500.9}, {"type": "phone", "screen_off_auto_close_time": 2},
        {"TYPE": "tv", "screen_off_auto_close_time": 3}, {"type": "watch", "screen_off_auto_close_time": "4"},
        {"type": "zero", "screen_off_auto_close_time": 0}]}})"));
    int time = -1;
    for (const char* type : {"tv", "watch", "zero"}) {
        EXPECT_FALSE(parser_.GetDeviceNetOffTime(type, time)) << type;
    }
    EXPECT_EQ(time, -1);
    EXPECT_TRUE(parser_.GetDeviceNetOffTime("phone", time));
    EXPECT_EQ(time, 1500);
}

TEST_F(ConfigurationParserTest, OnlyDeviceListMayBeMissing)
{
    EXPECT_TRUE(ParseDevice(R"({"device": {"deviceCaps": {}}})"));
    EXPECT_FALSE(ParseDevice(R"({"Device": {}})"));
    EXPECT_FALSE(ParseScenario(R"({"scenario": {"deviceCaps": {}}})"));
}

TEST_F(ConfigurationParserTest, ShippedFilesHaveEverySettingOfDefaultDevice)
{
    const auto read = [](const std::string& name) {
        const std::string path = DISTNET_SHIPPED_FILES "/etc/communication/network_connectivity_ext/" + name;
        return ReadWholeFile(path, 1 << 16).value();
    };
    EXPECT_TRUE(ParseDevice(read("device.json")));
    EXPECT_TRUE(ParseScenario(read("scenario.json")));
    bool uses = false;
    bool provides = false;
    int closeTime = 0;
    EXPECT_TRUE(parser_.GetDeviceNetFeature("default", uses, provides));
    EXPECT_TRUE(uses && provides);
    EXPECT_TRUE(parser_.GetDeviceNetOffTime("default", closeTime));
    EXPECT_GE(closeTime, 60'000) << "milliseconds";
}

TEST(DistributedJsonUtilTest, NumbersAreCutTowardZeroAndSaturate)
{
    const std::tuple<const char*, int32_t, uint32_t, int64_t, uint64_t> cases[] = {
        {"7.9", 7, 7, 7, 7},
        {"-7.9", -7, UINT32_MAX - 6, -7, 0},
        {"2147483648", INT32_MAX, 2147483648U, 2147483648, 2147483648U},
        {"4294967301", INT32_MAX, 5, 4294967301, 4294967301U},                            // 2^32 + 5
        {"9223372036854775808", INT32_MAX, UINT32_MAX, INT64_MAX, 9223372036854775808U},  // 2^63
        {"1e300", INT32_MAX, UINT32_MAX, INT64_MAX, UINT64_MAX},
        {"-1e300", INT32_MIN, 0, INT64_MIN, 0},
    };
    for (const auto& expected : cases) {
        const auto json = ParseJson(std::string(R"({"n": )") + std::get<0>(expected) + "}");
        std::tuple<const char*, int32_t, uint32_t, int64_t, uint64_t> read{std::get<0>(expected), 7, 7, 7, 7};
        EXPECT_TRUE(JsonUtil::GetIntFromJsonObj(json.get(), "n", &std::get<1>(read)) &&
                    JsonUtil::GetUIntFromJsonObj(json.get(), "n", &std::get<2>(read)) &&
                    JsonUtil::GetInt64FromJsonObj(json.get(), "n", &std::get<3>(read)) &&
                    JsonUtil::GetUInt64FromJsonObj(json.get(), "n", &std::get<4>(read)));
        EXPECT_EQ(read, expected);
    }
}

TEST(DistributedJsonUtilTest, TextsAndFilesNeedValidDocumentAndMayContinueAfterIt)
{
    const TempFolder folder;
    const std::string path = folder.Path() / "file";
    for (const auto& [text, isValid] :
         {std::pair{"", false}, {R"({"a": 1)", false}, {R"({"a": 1})", true}, {R"({"a": 1} rest)", true}}) {
        cJSON* document = nullptr;
        EXPECT_EQ(JsonUtil::GetObjFromJsonStr(text, &document), isValid) << text;
        EXPECT_EQ(document != nullptr, isValid) << text;
        cJSON_Delete(document);
        ASSERT_TRUE(WriteFileAtomically(path, text, 0600));
        EXPECT_EQ(JsonUtil::LoadJsonObjFromFile(nullptr, path), isValid) << text;
    }
}

TEST(ConvergedSecurityTest, FileSizeIsOneByteToHalfGibibyteIn32Bits)
{
    constexpr off_t LIMIT = off_t{1} << 29;
    constexpr off_t FOUR_GIB = off_t{1} << 32;
    const TempFolder folder;
    for (const auto& [size, isAccepted] : {std::pair{off_t{0}, false},
                                           {off_t{1}, true},
                                           {LIMIT, true},
                                           {LIMIT + 1, false},
                                           {FOUR_GIB, false},
                                           {FOUR_GIB + 1, true}}) {
        const UniqueFd file(open((folder.Path() / "file").c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
        ASSERT_EQ(ftruncate(file.Get(), size), 0);
        EXPECT_EQ(ConvergedSecurity::CheckFileSize(file.Get()), isAccepted) << size;
        EXPECT_EQ(lseek(file.Get(), 0, SEEK_CUR), isAccepted ? 0 : size);
    }
    EXPECT_FALSE(ConvergedSecurity::CheckFileSize(-1));
}

TEST(ConvergedSecurityTest, PathIsAcceptedByPrefixAlone)
{
    const std::string allowed = "/system/etc/communication/netmanager_converged";
    for (const auto& [path, isAllowed] :
         {std::pair{allowed + "x", true}, {allowed, true}, {allowed.substr(1), false}, {"/system/etc/a", false}}) {
        EXPECT_EQ(ConvergedSecurity::CheckFilePath(path), isAllowed) << path;
    }
}

}  // namespace
}  // namespace Vexo::Tests

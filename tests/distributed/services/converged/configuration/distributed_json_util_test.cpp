// Typed reads of JSON members, and files on their way to JSON.
#include "distributed/services/converged/configuration/distributed_json_util.h"

#include <gtest/gtest.h>

#include <fstream>

#include "platform/config_policy/config_policy.h"
#include "tests/support/json_document.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_folder.h"

// Whole call stacks of allocations: the library's frames have no frame pointers, and the leak that the loader has by
// contract is told by its caller (tests/support/lsan.supp). The runtime looks this name up.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" const char* __asan_default_options()
{
    return "fast_unwind_on_malloc=0";
}

namespace Vexo::Tests {
namespace {

using Json = NetManagerStandard::DistributedJsonUtil;

// One read of each type; the outputs say whether they were written.
struct Reads {
    std::string text = "untouched";
    int32_t int32 = -77;
    uint32_t uint32 = 77;
    int64_t int64 = -77;
    uint64_t uint64 = 77;
    double number = 7.7;
    bool flag = true;
    cJSON* object = nullptr;
    cJSON* array = nullptr;
    std::string successes;  // one letter each: s i u I U d b o a

    Reads(const cJSON* json, const std::string& key)
    {
        successes += Json::GetStringFromJsonObj(json, key, text) ? "s" : "";
        successes += Json::GetIntFromJsonObj(json, key, &int32) ? "i" : "";
        successes += Json::GetUIntFromJsonObj(json, key, &uint32) ? "u" : "";
        successes += Json::GetInt64FromJsonObj(json, key, &int64) ? "I" : "";
        successes += Json::GetUInt64FromJsonObj(json, key, &uint64) ? "U" : "";
        successes += Json::GetDoubleFromJsonObj(json, key, &number) ? "d" : "";
        successes += Json::GetBoolFromJsonObj(json, key, &flag) ? "b" : "";
        successes += Json::GetObjFromJsonObj(json, key, &object) ? "o" : "";
        successes += Json::GetArrayFromJsonObj(json, key, &array) ? "a" : "";
    }
};

TEST(DistributedJsonUtilTest, AMemberIsReadAsItsOwnTypeOnlyAndOutputsAreWrittenOnlyOnSuccess)
{
    const Document json = Parse(R"({"text": "7", "number": 7, "no": false, "yes": true, "null": null,
                                    "object": {"a": 1}, "array": [1, 2]})");
    cJSON_AddItemToObjectCS(json.get(), "constantKey", cJSON_CreateNumber(7));
    const std::pair<const char*, const char*> cases[] = {
        {"text", "s"},  {"number", "iuIUd"}, {"no", "b"},         {"yes", "b"}, {"null", ""}, {"object", "o"},
        {"array", "a"}, {"missing", ""},     {"constantKey", ""}, {"TEXT", ""}, {"", ""},
    };
    for (const auto& [key, successes] : cases) {
        const Reads reads(json.get(), key);
        EXPECT_EQ(reads.successes, successes) << key;
        EXPECT_EQ(reads.int32, reads.successes == "iuIUd" ? 7 : -77) << key;
        EXPECT_EQ(reads.text, reads.successes == "s" ? "7" : "untouched") << key;
        EXPECT_EQ(reads.flag, std::string(key) != "no") << key;
    }
    EXPECT_EQ(Reads(nullptr, "text").successes, "");
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
    for (const auto& [number, int32, uint32, int64, uint64] : cases) {
        const Reads reads(Parse(std::string(R"({"n": )") + number + "}").get(), "n");
        EXPECT_EQ(reads.int32, int32) << number;
        EXPECT_EQ(reads.uint32, uint32) << number;
        EXPECT_EQ(reads.int64, int64) << number;
        EXPECT_EQ(reads.uint64, uint64) << number;
    }
}

TEST(DistributedJsonUtilTest, ADamagedTextIsRefusedWithThePlaceOfItsError)
{
    const LogCapture log;
    cJSON* value = nullptr;
    ASSERT_TRUE(Json::GetObjFromJsonStr(R"({"a": 1})", &value));
    const Document owner(value, &cJSON_Delete);
    EXPECT_FALSE(Json::GetObjFromJsonStr("", &value));
    EXPECT_EQ(value, owner.get());
    EXPECT_FALSE(Json::GetObjFromJsonStr(R"({"a": oops})", &value));
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(log.Count(" errorMsg is "), 1U);
    EXPECT_TRUE(log.Contains(" errorMsg is oops}"));
}

TEST(DistributedJsonUtilTest, ThePolicysHighestFileIsReadWholeThroughLinksAndNothingIsHandedBack)
{
    const LogCapture log;
    const TempFolder low;
    const TempFolder high;
    SetConfigPolicyRoots({low.Path(), high.Path()});
    cJSON* document = nullptr;
    const auto loads = [&document] { return Json::LoadJsonObjFromTarselPath(document, "a.json"); };
    EXPECT_FALSE(loads());
    EXPECT_EQ(log.Count(" Json file path error."), 1U);
    std::ofstream(low.Path() / "target") << "[" << std::string(100'000, ' ') << "]";
    std::filesystem::create_symlink("target", low.Path() / "a.json");
    EXPECT_TRUE(loads());
    EXPECT_EQ(document, nullptr);
    std::ofstream(high.Path() / "a.json") << "[1,";
    EXPECT_FALSE(loads());
    EXPECT_TRUE(log.Contains(" errorMsg is "));
    std::ofstream(high.Path() / "a.json") << "";
    EXPECT_FALSE(loads());
    for (const char* line : {" file over maxSize", " invalid file path.", " Cannot read json file to string."}) {
        EXPECT_EQ(log.Count(line), 1U) << line;
    }
    std::string content;
    EXPECT_FALSE(Json::ReadFileToString(low.Path() / "missing", content));
    EXPECT_FALSE(Json::GetRealPath("/" + std::string(4096, '.'), content));
}

}  // namespace
}  // namespace Vexo::Tests

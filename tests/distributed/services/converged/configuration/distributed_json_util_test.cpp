// Typed reads of JSON members.
#include "distributed/services/converged/configuration/distributed_json_util.h"

#include <gtest/gtest.h>

#include "platform/base/json.h"

// Whole call stacks of allocations: the library's frames have no frame pointers, and the leak that the loader has by
// contract is told by its caller (tests/support/lsan.supp).
extern "C" const char* DefaultOptions() __asm__("__asan_default_options");
const char* DefaultOptions()
{
    return "fast_unwind_on_malloc=0";
}

namespace Vexo::Tests {
namespace {

using Json = NetManagerStandard::DistributedJsonUtil;

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
        const auto json = ParseJson(std::string(R"({"n": )") + number + "}");
        int32_t asInt32 = 7;
        uint32_t asUint32 = 7;
        int64_t asInt64 = 7;
        uint64_t asUint64 = 7;
        EXPECT_TRUE(Json::GetIntFromJsonObj(json.get(), "n", &asInt32) &&
                    Json::GetUIntFromJsonObj(json.get(), "n", &asUint32) &&
                    Json::GetInt64FromJsonObj(json.get(), "n", &asInt64) &&
                    Json::GetUInt64FromJsonObj(json.get(), "n", &asUint64));
        EXPECT_EQ(std::tie(asInt32, asUint32, asInt64, asUint64), std::tie(int32, uint32, int64, uint64)) << number;
    }
}

}  // namespace
}  // namespace Vexo::Tests

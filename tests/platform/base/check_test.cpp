#include "platform/base/check.h"

#include <gtest/gtest.h>

namespace Vexo {
namespace {

TEST(ContractDeathTest, ABreachEndsTheProcessAndNamesPlaceContractAndCondition)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    int evaluated = 0;
    DISTNET_CHECK(++evaluated == 1, "one");
    DISTNET_ASSERT(evaluated == 1, "one");
    EXPECT_EQ(evaluated, 1);
    EXPECT_DEATH(DISTNET_CHECK(evaluated == 2, "two of them"),
                 R"(check_test\.cpp:[0-9]+: contract broken: two of them \(evaluated == 2\))");
}

}  // namespace
}  // namespace Vexo

#include "platform/base/text.h"

#include <gtest/gtest.h>

namespace Vexo {
namespace {

TEST(ClosestOf, FindsASlipAndNothingElse)
{
    const std::vector<std::string> names{"phone", "tablet", "laptop"};
    const std::pair<const char*, const char*> cases[] = {
        {"fone", "phone"},     {"phne", "phone"}, {"hpone", "phone"}, {"talbet", "tablet"},
        {"laptops", "laptop"}, {"router", ""},    {"", ""},           {"phone", "phone"}};
    for (const auto& [word, closest] : cases) {
        EXPECT_EQ(ClosestOf(word, names), closest) << word;
    }
}

TEST(ClosestOf, TakesTheFirstOfEquallyCloseOnes)
{
    EXPECT_EQ(ClosestOf("b", {"a", "c"}), "a");
    EXPECT_EQ(ClosestOf("b", {}), "");
}

}  // namespace
}  // namespace Vexo

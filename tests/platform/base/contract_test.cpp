// Tests the contract macros, the reference-counted pointers and the copies into buffers of fixed size.
#include "platform/base/refbase.h"

#include <gtest/gtest.h>

#include <array>

#include "platform/base/check.h"
#include "platform/base/securec.h"

namespace Vexo {
namespace {

struct Left : virtual RefBase {};
struct Right : virtual RefBase {};
struct Both : Left, Right {
    explicit Both(int& counter) : destroyed(counter) {}
    ~Both() override { ++destroyed; }
    int& destroyed;
};

TEST(RefBaseTest, LastReferenceOfAnyKindDestroysObject)
{
    int destroyed = 0;
    sptr<Both> both = MakeSptr<Both>(destroyed);
    sptr<Left> left = both;
    sptr<RefBase> base = left;
    EXPECT_EQ(both->GetSptrRefCount(), 3);
    EXPECT_EQ(base.Cast<Right>()->GetSptrRefCount(), 4);
    EXPECT_EQ(MakeSptr<Left>().Cast<Right>(), nullptr);
    both = std::move(both);
    base = nullptr;
    left = nullptr;
    EXPECT_EQ(destroyed, 0);
    both = nullptr;
    EXPECT_EQ(destroyed, 1);
}

TEST(ContractDeathTest, BreachEndsProcessAndNamesPlaceContractAndCondition)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    int evaluated = 0;
    DISTNET_CHECK(++evaluated == 1, "one");
    DISTNET_ASSERT(evaluated == 1, "one");
    EXPECT_EQ(evaluated, 1);
    EXPECT_DEATH(DISTNET_CHECK(evaluated == 2, "two of them"),
                 R"(contract_test\.cpp:[0-9]+: contract broken: two of them \(evaluated == 2\))");
}

TEST(SecurecTest, CopyOrFillBeyondDestinationFailsAndChangesNothing)
{
    std::array<char, 4> buffer{'a', 'b', 'c', 'd'};
    const auto original = buffer;
    EXPECT_EQ(memcpy_s(buffer.data(), 4, "12345", 5), SECUREC_TOO_LARGE);
    EXPECT_EQ(memset_s(buffer.data(), 4, 0, 5), SECUREC_TOO_LARGE);
    EXPECT_EQ(memcpy_s(buffer.data(), 0, "1", 0), SECUREC_INVALID);
    EXPECT_EQ(memcpy_s(nullptr, 4, "1", 1), SECUREC_INVALID);
    EXPECT_EQ(memset_s(nullptr, 4, 0, 1), SECUREC_INVALID);
    EXPECT_EQ(buffer, original);
    EXPECT_EQ(memset_s(buffer.data(), 4, 'x', 1), SECUREC_OK);
    EXPECT_EQ(memcpy_s(buffer.data() + 1, 3, "yz", 2), SECUREC_OK);
    EXPECT_EQ(buffer, (std::array<char, 4>{'x', 'y', 'z', 'd'}));
}

}  // namespace
}  // namespace Vexo

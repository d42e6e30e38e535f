#include "distributed/services/utils/common_utils.h"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>

#include "platform/access/policy.h"
#include "platform/ipc/ipc_skeleton.h"

namespace Vexo::NetManagerStandard {
namespace {

using CommonUtils::CheckPermission;
using CommonUtils::CheckPermissionWithCache;

constexpr const char* GRANTED = "test.permission.GRANTED";
constexpr const char* OTHER = "test.permission.OTHER";

// The users that the access policy of this test names.
enum User : uid_t { BASIC = 70002, CORE = 70003 };

class PermissionTest : public testing::Test {
protected:
    PermissionTest()
    {
        using namespace Security;
        InstallAccessPolicy({{{std::to_string(BASIC), "", TOKEN_HAP, APL_SYSTEM_BASIC, false, {GRANTED}},
                              {std::to_string(CORE), "", TOKEN_HAP, APL_SYSTEM_CORE, false, {GRANTED}}}});
    }
    static bool As(User user, bool (*check)(const std::string&), const char* permission)
    {
        const CallerScope caller(Security::IdentifyCaller({4711, user, user, {}}));
        return check(permission);
    }
};

TEST_F(PermissionTest, FirstCachedVerdictAppliesToEveryPermissionOfCaller)
{
    EXPECT_FALSE(As(BASIC, CheckPermissionWithCache, "")) << "refused, and not remembered";
    auto other = std::async(std::launch::async, [] { return As(CORE, CheckPermissionWithCache, OTHER); });
    EXPECT_TRUE(As(BASIC, CheckPermissionWithCache, GRANTED));
    EXPECT_FALSE(other.get());
    EXPECT_TRUE(As(BASIC, CheckPermissionWithCache, OTHER));
    EXPECT_FALSE(As(CORE, CheckPermissionWithCache, GRANTED));
    EXPECT_FALSE(As(BASIC, CheckPermission, OTHER)) << "only the cached check remembers";
}

TEST(CommonUtilsTest, IdentifiersAreMaskedAndTooShortOnesFail)
{
    using CommonUtils::GetAnonymousDeviceID;
    using CommonUtils::GetAnonymousStr;
    EXPECT_EQ(GetAnonymousStr("abcd"), "979******");
    EXPECT_EQ(GetAnonymousStr("\xE1zz"), "-31******");
    EXPECT_THROW(GetAnonymousStr("AB"), std::out_of_range);
    EXPECT_EQ(GetAnonymousDeviceID("123456789"), "***");
    EXPECT_EQ(GetAnonymousDeviceID("0123456789ABCDEF"), "01234**BCDEF");
}

}  // namespace
}  // namespace Vexo::NetManagerStandard

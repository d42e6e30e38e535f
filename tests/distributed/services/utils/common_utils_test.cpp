#include "distributed/services/utils/common_utils.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/access/policy.h"
#include "platform/ipc/ipc_skeleton.h"
#include "tests/support/log_capture.h"

namespace Vexo::NetManagerStandard {
namespace {

using CommonUtils::CheckPermission;
using CommonUtils::CheckPermissionWithCache;

constexpr const char* GRANTED = "test.permission.GRANTED";
constexpr const char* OTHER = "test.permission.OTHER";

// Users of the test's policy.
enum User : uid_t { NATIVE = 70001, BASIC = 70002, CORE = 70003, NORMAL = 70004, STRANGER = 70005 };

class PermissionTest : public testing::Test {
protected:
    PermissionTest()
    {
        using namespace Security;
        InstallAccessPolicy({{{std::to_string(NATIVE), "", TOKEN_NATIVE, APL_NORMAL, false, {}},
                              {std::to_string(BASIC), "", TOKEN_HAP, APL_SYSTEM_BASIC, false, {GRANTED}},
                              {std::to_string(CORE), "", TOKEN_HAP, APL_SYSTEM_CORE, false, {GRANTED}},
                              {std::to_string(NORMAL), "", TOKEN_HAP, APL_NORMAL, false, {GRANTED}}}});
    }
    static bool As(User user, bool (*check)(const std::string&), const char* permission)
    {
        const CallerScope caller(Security::IdentifyCaller({4711, user, user, {}}));
        return check(permission);
    }
    const Tests::LogCapture log_;
};

TEST_F(PermissionTest, VerdictFollowsTokenTypeLevelAndGrant)
{
    struct Case {
        User user;
        const char* permission;
        bool expected;
        const char* logged;
    };
    for (const Case& c : {
             Case{NATIVE, OTHER, true, ""},
             Case{BASIC, GRANTED, true, ""},
             Case{CORE, GRANTED, true, ""},
             Case{BASIC, OTHER, false, " permission check failed, permission:test.permission.OTHER, callerToken:"},
             Case{NORMAL, GRANTED, false, ", tokenType:0"},
             Case{STRANGER, GRANTED, false, ", tokenType:2"},
             Case{NATIVE, "", false, " permission check failed，permission name is empty."},
         }) {
        EXPECT_EQ(As(c.user, CheckPermission, c.permission), c.expected) << c.user << c.permission;
        EXPECT_TRUE(*c.logged == '\0' || log_.Contains(c.logged)) << c.logged;
    }
    EXPECT_TRUE(log_.Contains(" permission check failed, callerToken:")) << "a shell is logged twice";
}

TEST_F(PermissionTest, FirstCachedVerdictStandsForEveryPermissionOfThatCaller)
{
    EXPECT_FALSE(As(BASIC, CheckPermissionWithCache, "")) << "refused, and not remembered";
    EXPECT_TRUE(As(BASIC, CheckPermissionWithCache, GRANTED));
    EXPECT_TRUE(As(BASIC, CheckPermissionWithCache, OTHER));
    EXPECT_FALSE(As(CORE, CheckPermissionWithCache, OTHER));
    EXPECT_FALSE(As(CORE, CheckPermissionWithCache, GRANTED));
    EXPECT_EQ(log_.Count(" permission check failed, permission:"), 1U) << "a remembered verdict is not asked again";
    EXPECT_FALSE(As(BASIC, CheckPermission, OTHER)) << "only the cached check remembers";
}

TEST(CommonUtilsTest, StringIsMaskedFromItsEndAndAShortOneIsAnError)
{
    using CommonUtils::GetAnonymousStr;
    EXPECT_EQ(GetAnonymousStr("abc"), "******");
    EXPECT_EQ(GetAnonymousStr("abcd"), "979******");
    EXPECT_EQ(GetAnonymousStr("\xC3"
                              "abc"),
              "-61******");
    for (const char* shorter : {"", "a", "AB"}) {
        EXPECT_THROW(GetAnonymousStr(shorter), std::out_of_range) << shorter;
    }
}

TEST(CommonUtilsTest, DeviceIdShowsItsEndsFromTenCharactersOn)
{
    using CommonUtils::GetAnonymousDeviceID;
    EXPECT_EQ(GetAnonymousDeviceID(""), "***");
    EXPECT_EQ(GetAnonymousDeviceID("123456789"), "***");
    EXPECT_EQ(GetAnonymousDeviceID("0123456789"), "01234**56789");
    EXPECT_EQ(GetAnonymousDeviceID("0123456789ABCDEF"), "01234**BCDEF");
}

TEST(CommonUtilsTest, SplitDropsOnlyAnEmptyLastPart)
{
    using Parts = std::vector<std::string>;
    struct Case {
        const char* text;
        const char* separator;
        Parts expected;
    };
    for (const Case& c : {Case{"a,b,c", ",", {"a", "b", "c"}}, Case{",a", ",", {"", "a"}},
                          Case{"a,b,", ",", {"a", "b"}}, Case{"abc", ",", {"abc"}}, Case{"", ",", {}},
                          Case{",", ",", {""}}, Case{"a::b", "::", {"a", "b"}}, Case{"ab", "longer", {"ab"}}}) {
        EXPECT_EQ(CommonUtils::Split(c.text, c.separator), c.expected) << c.text;
    }
}

}  // namespace
}  // namespace Vexo::NetManagerStandard

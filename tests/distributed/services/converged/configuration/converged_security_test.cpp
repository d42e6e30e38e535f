// Limits of configuration files, and the permission check that asks for no privilege level.
#include "distributed/services/converged/configuration/converged_security.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "platform/access/policy.h"
#include "platform/base/unique_fd.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Tests {
namespace {

using NetManagerStandard::ConvergedSecurity;

TEST(ConvergedSecurityTest, AFileHasOneByteToHalfAGibibyteBy32BitCount)
{
    constexpr off_t LIMIT = off_t{1} << 29;
    constexpr off_t FOUR_GIB = off_t{1} << 32;
    const std::pair<off_t, bool> cases[] = {
        {0, false}, {1, true}, {LIMIT, true}, {LIMIT + 1, false}, {FOUR_GIB, false}, {FOUR_GIB + 1, true},
    };
    const TempFolder folder;
    for (const auto& [size, isAccepted] : cases) {
        const LogCapture log;
        const UniqueFd file(open((folder.Path() / "file").c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
        ASSERT_EQ(ftruncate(file.Get(), size), 0);
        EXPECT_EQ(ConvergedSecurity::CheckFileSize(file.Get()), isAccepted) << size;
        EXPECT_EQ(lseek(file.Get(), 0, SEEK_CUR), isAccepted ? 0 : size);
        EXPECT_NE(log.Contains(" file over maxSize"), isAccepted) << size;
        EXPECT_NE(log.Contains(" invalid file path."), isAccepted) << size;
    }
    EXPECT_FALSE(ConvergedSecurity::CheckFileSize(-1));
}

TEST(ConvergedSecurityTest, APathStartsWithTheAllowedTextWhateverFollows)
{
    const std::string allowed = "/system/etc/communication/netmanager_converged";
    const std::pair<std::string, bool> cases[] = {
        {allowed + "x", true}, {allowed, true}, {allowed.substr(1), false}, {"/system/etc/other/a", false}, {"", false},
    };
    for (const auto& [path, isAllowed] : cases) {
        const LogCapture log;
        EXPECT_EQ(ConvergedSecurity::CheckFilePath(path), isAllowed) << path;
        EXPECT_NE(log.Contains(" invalid file path."), isAllowed) << path;
    }
}

TEST(ConvergedSecurityTest, ACallersPermissionDependsOnItsKindAndItsGrantNotOnItsLevel)
{
    enum User : uid_t { NATIVE = 12001, HOLDER = 12002, APPLICATION = 12003, SHELL = 12004 };
    const std::string permission = "vexo.permission.TEST";
    using namespace Security;
    InstallAccessPolicy({{{std::to_string(NATIVE), "", TOKEN_NATIVE, APL_NORMAL, false, {}},
                          {std::to_string(HOLDER), "", TOKEN_HAP, APL_NORMAL, false, {permission}},
                          {std::to_string(APPLICATION), "", TOKEN_HAP, APL_SYSTEM_CORE, false, {}}}});
    const std::tuple<User, std::string, bool, std::string> cases[] = {
        {NATIVE, permission, true, ""},
        {NATIVE, "", false, " permission check failed, permission name is empty."},
        {HOLDER, permission, true, ""},
        {HOLDER, "other", false, " permission check failed, permission:other, token:<private>, type:0"},
        {APPLICATION, permission, false, ", type:0"},
        {SHELL, permission, false, " tokenType:2 invalid"},
    };
    for (const auto& [user, asked, isHeld, line] : cases) {
        const LogCapture log;
        const CallerScope caller(IdentifyCaller({1, user, user, {}}));
        EXPECT_EQ(ConvergedSecurity::CheckPermission(asked), isHeld) << user << asked;
        EXPECT_TRUE(isHeld || log.Contains(line)) << line;
    }
}

}  // namespace
}  // namespace Vexo::Tests

// Limits of configuration files.
#include "distributed/services/converged/configuration/converged_security.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "platform/base/unique_fd.h"
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
        const UniqueFd file(open((folder.Path() / "file").c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
        ASSERT_EQ(ftruncate(file.Get(), size), 0);
        EXPECT_EQ(ConvergedSecurity::CheckFileSize(file.Get()), isAccepted) << size;
        EXPECT_EQ(lseek(file.Get(), 0, SEEK_CUR), isAccepted ? 0 : size);
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
        EXPECT_EQ(ConvergedSecurity::CheckFilePath(path), isAllowed) << path;
    }
}

}  // namespace
}  // namespace Vexo::Tests

#include "host/state_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "platform/trust/account.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Host {
namespace {

TEST(StateFolder, IsForTheOwnerOnlyWhoeverMakesItFirst)
{
    const Tests::TempFolder world;
    ASSERT_TRUE(StateFolder::Acquire(world.Path() / "daemon" / "state"));
    ASSERT_TRUE(Trust::CreateAccount(world.Path() / "tool" / "state" / "identity", "home", "laptop"));
    for (const char* made : {"daemon", "daemon/state", "tool", "tool/state", "tool/state/identity"}) {
        EXPECT_EQ(std::filesystem::status(world.Path() / made).permissions(), std::filesystem::perms(0700)) << made;
    }
}

TEST(StateFolder, NamesWhatStandsInItsWay)
{
    const Tests::TempFolder world;
    std::ofstream(world.Path() / "file") << "x";
    const Result<StateFolder> folder = StateFolder::Acquire(world.Path() / "file" / "state");
    ASSERT_FALSE(folder);
    EXPECT_THAT(folder.error().message, ::testing::HasSubstr("file: the folder cannot be made"));
}

}  // namespace
}  // namespace Vexo::Host

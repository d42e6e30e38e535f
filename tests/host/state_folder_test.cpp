#include "host/state_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "tests/support/temp_folder.h"

namespace Vexo::Host {
namespace {

TEST(StateFolder, MakesMissingParentsForTheOwnerOnly)
{
    const Tests::TempFolder world;
    ASSERT_TRUE(StateFolder::Acquire(world.Path() / "a" / "b"));
    for (const char* made : {"a", "a/b"}) {
        struct stat status {};
        ASSERT_EQ(stat((world.Path() / made).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0700U) << made;
    }
}

TEST(StateFolder, NamesWhatStandsInItsWay)
{
    const Tests::TempFolder world;
    std::ofstream(world.Path() / "file") << "x";
    const Result<StateFolder> folder = StateFolder::Acquire(world.Path() / "file" / "state");
    ASSERT_FALSE(folder);
    EXPECT_THAT(folder.Message(), ::testing::HasSubstr("file: the folder cannot be made"));
}

}  // namespace
}  // namespace Vexo::Host

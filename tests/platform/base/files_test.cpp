#include "platform/base/files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "tests/support/temp_folder.h"

namespace Vexo {
namespace {

using testing::HasSubstr;

size_t EntriesOf(const std::filesystem::path& folder)
{
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

TEST(FilesTest, AWriteReplacesTheWholeFileWithTheModeAskedFor)
{
    const Tests::TempFolder folder;
    const auto file = folder.Path() / "state.json";
    std::ofstream(file) << std::string(100'000, 'x');
    const mode_t before = ::umask(0277);
    const auto written = WriteFileAtomically(file, "new", 0640);
    ::umask(before);
    ASSERT_TRUE(written) << written.Message();
    EXPECT_EQ(ReadWholeFile(file, 3).Value(), "new");
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
    EXPECT_EQ(EntriesOf(folder.Path()), 1U);
}

TEST(FilesTest, AFailedWriteNamesTheFileAndLeavesNothingBehind)
{
    const Tests::TempFolder folder;
    const auto taken = folder.Path() / "taken";
    std::filesystem::create_directories(taken / "inside");  // a folder that a rename cannot replace
    for (const auto& path : {taken, folder.Path() / "missing" / "file"}) {
        const auto written = WriteFileAtomically(path, "text", 0600);
        ASSERT_FALSE(written);
        EXPECT_THAT(written.Message(), HasSubstr(path.string() + ": cannot be written: "));
    }
    EXPECT_EQ(EntriesOf(folder.Path()), 1U);
}

}  // namespace
}  // namespace Vexo

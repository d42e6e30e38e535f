#include "platform/base/files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "tests/support/temp_folder.h"

namespace Vexo {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

size_t EntriesOf(const std::filesystem::path& folder)
{
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

TEST(FilesTest, WriteReplacesWholeFileWithRequestedMode)
{
    const Tests::TempFolder folder;
    const auto file = folder.Path() / "state.json";
    std::ofstream(file) << std::string(100'000, 'x');
    const mode_t before = ::umask(0277);
    const auto written = WriteFileAtomically(file, "new", 0640);
    ::umask(before);
    ASSERT_TRUE(written) << written.error().message;
    EXPECT_EQ(ReadWholeFile(file, 3).value(), "new");
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
    EXPECT_EQ(EntriesOf(folder.Path()), 1U);
}

TEST(FilesTest, FailedWriteNamesFileAndLeavesNothingBehind)
{
    const Tests::TempFolder folder;
    const auto taken = folder.Path() / "taken";
    std::filesystem::create_directories(taken / "inside");  // A rename cannot replace a folder that is not empty.
    for (const auto& path : {taken, folder.Path() / "missing" / "file"}) {
        const auto written = WriteFileAtomically(path, "text", 0600);
        ASSERT_FALSE(written);
        EXPECT_THAT(written.error().message, HasSubstr(path.string() + ": cannot be written: "));
    }
    EXPECT_EQ(EntriesOf(folder.Path()), 1U);
}

// ReadWholeFile() must not open a FIFO, because the open would block until another process writes to the FIFO.
TEST(FilesTest, ReadsOnlyRegularFilesAndLinksOnlyIfAllowed)
{
    const Tests::TempFolder folder;
    std::ofstream(folder.Path() / "file") << "text";
    ASSERT_EQ(::mkfifo((folder.Path() / "fifo").c_str(), 0600), 0);
    std::filesystem::create_symlink("file", folder.Path() / "link");
    std::filesystem::create_symlink("fifo", folder.Path() / "to-fifo");
    const struct {
        const char* name;
        LastLink link;
        const char* refused;  // expected error; null if the read succeeds
    } cases[] = {
        {"file", LastLink::REFUSED, nullptr},
        {"link", LastLink::FOLLOWED, nullptr},
        {"link", LastLink::REFUSED, "it is a symbolic link"},
        {"fifo", LastLink::FOLLOWED, "it is not a regular file"},
        {"to-fifo", LastLink::FOLLOWED, "it is not a regular file"},
        {".", LastLink::FOLLOWED, "it is not a regular file"},
        {"none", LastLink::REFUSED, "No such file"},
    };
    for (const auto& c : cases) {
        const auto path = folder.Path() / c.name;
        const auto text = ReadWholeFile(path, 4, c.link);
        EXPECT_EQ(text.has_value(), c.refused == nullptr) << c.name;
        EXPECT_THAT(text ? text.value() : text.error().message,
                    StartsWith(c.refused == nullptr ? "text" : path.string() + ": cannot be read: " + c.refused));
    }
    EXPECT_THAT(ReadWholeFile(folder.Path() / "file", 3).error().message, HasSubstr("larger than the 3 bytes"));
}

}  // namespace
}  // namespace Vexo

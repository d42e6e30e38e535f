#include "platform/base/files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <thread>

#include "platform/base/folder_watcher.h"
#include "tests/platform/tasks/signals.h"
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

TEST(FilesTest, WhatCannotBeReadOrIsTooLargeIsAnErrorThatSaysSo)
{
    const Tests::TempFolder folder;
    const auto file = folder.Path() / "big";
    ASSERT_TRUE(WriteFileAtomically(file, "four", 0600));
    EXPECT_THAT(ReadWholeFile(file, 3).Message(), HasSubstr("big: larger than the 3 bytes that are allowed"));
    EXPECT_THAT(ReadWholeFile(folder.Path() / "none", 3).Message(), HasSubstr("none: cannot be read: No such file"));
    EXPECT_THAT(ReadWholeFile(folder.Path(), 3).Message(), HasSubstr(": cannot be read: Is a directory"));
}

TEST(FolderWatcherTest, EveryKindOfChangeIsReportedByTheNameOfTheEntry)
{
    const Tests::TempFolder folder;
    ASSERT_TRUE(WriteFileAtomically(folder.Path() / "old", "", 0600));
    Tests::Trail<std::string> names;
    auto watcher = FolderWatcher::Start(folder.Path(), [&](const std::string& name) { names.Add(name); });
    ASSERT_TRUE(watcher) << watcher.Message();
    std::filesystem::rename(folder.Path() / "old", folder.Path() / "new");
    EXPECT_EQ(names.WaitFor(2), (std::vector<std::string>{"old", "new"}));
    std::ofstream(folder.Path() / "new") << "text";
    EXPECT_EQ(names.WaitFor(3).back(), "new");
    std::filesystem::remove(folder.Path() / "new");
    EXPECT_EQ(names.WaitFor(4).size(), 4U);
    watcher.Value().reset();
    ASSERT_TRUE(WriteFileAtomically(folder.Path() / "unseen", "", 0600));
    EXPECT_EQ(names.WaitFor(0).size(), 4U);
}

TEST(FolderWatcherTest, AFolderThatIsNoneIsAnErrorThatNamesIt)
{
    const Tests::TempFolder folder;
    std::ofstream(folder.Path() / "file") << "";
    for (const char* name : {"missing", "file"}) {
        const auto watcher = FolderWatcher::Start(folder.Path() / name, [](const std::string&) {});
        ASSERT_FALSE(watcher);
        EXPECT_THAT(watcher.Message(), HasSubstr((folder.Path() / name).string() + ": cannot be watched: "));
    }
}

}  // namespace
}  // namespace Vexo

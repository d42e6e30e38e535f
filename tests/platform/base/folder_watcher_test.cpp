#include "platform/base/folder_watcher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "tests/support/temp_folder.h"
#include "tests/support/trail.h"

namespace Vexo {
namespace {

namespace fs = std::filesystem;

class FolderWatcherTest : public testing::Test {
protected:
    FolderWatcherTest() { fs::create_directories(folder_); }

    void Watch(const fs::path& folder)
    {
        auto watcher = FolderWatcher::Start(folder, [this](const std::string& name) { heard_.Add(name); });
        ASSERT_TRUE(watcher) << watcher.error().message;
        watcher_ = std::move(watcher.value());
    }
    bool Hears(const std::string& name)
    {
        return Tests::Eventually([&] {
            const auto names = heard_.WaitFor(0);
            return std::find(names.begin(), names.end(), name) != names.end();
        });
    }
    // Creates a file in the watched folder. Returns whether the watcher reports the file.
    bool HearsOf(const std::string& name)
    {
        heard_.Take();
        std::ofstream(folder_ / name) << "x";
        return Hears(name);
    }

    const Tests::TempFolder temp_;
    const fs::path folder_ = temp_.Path() / "outer" / "watched";
    Tests::Trail<std::string> heard_;
    std::unique_ptr<FolderWatcher> watcher_;
};

TEST_F(FolderWatcherTest, ReportsChangesAgainOnceFolderIsRecreated)
{
    const struct {
        const char* how;
        std::function<void()> leave;
    } cases[] = {
        {"removed", [this] { fs::remove_all(folder_); }},
        {"moved away", [this] { fs::rename(folder_, temp_.Path() / "elsewhere"); }},
        {"removed with its parent", [this] { fs::remove_all(folder_.parent_path()); }},
    };
    Watch(folder_);
    ASSERT_TRUE(HearsOf("first"));
    for (const auto& c : cases) {
        heard_.Take();
        c.leave();
        EXPECT_TRUE(Hears("")) << c.how << ": all must be read again";
        heard_.Take();
        fs::create_directories(folder_);
        EXPECT_TRUE(Hears("")) << c.how << ", and back";
        EXPECT_TRUE(HearsOf(c.how)) << c.how;
    }
    std::ofstream(temp_.Path() / "elsewhere" / "strange") << "x";
    EXPECT_TRUE(HearsOf("last"));
    EXPECT_THAT(heard_.Take(), testing::Not(testing::Contains("strange"))) << "of the folder that was moved away";
}

TEST_F(FolderWatcherTest, StopsWhileFolderIsMissingAndNeedsFolderToStart)
{
    Watch(folder_);
    fs::remove_all(folder_);
    EXPECT_TRUE(Hears(""));
    watcher_.reset();
    const auto none = FolderWatcher::Start(folder_, [](const std::string&) {});
    ASSERT_FALSE(none);
    EXPECT_THAT(none.error().message, testing::StartsWith(folder_.string() + ": cannot be watched: "));
}

}  // namespace
}  // namespace Vexo

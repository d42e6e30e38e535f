// Tests what the class Online stores across restarts.
#include "host/online/online_file.h"

#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/log_capture.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Host {
namespace {

TEST(OnlineFileTest, DamagedFileIsSetAsideAndNextOneIsReadBack)
{
    const Tests::TempFolder folder;
    const Tests::LogCapture log;
    const auto path = folder.Path() / "online.json";
    for (const char* damaged :
         {"{", "{}", R"({"version": 2})", R"({"version": 1, "auto": 7})", R"({"version": 1, "preferred": [""]})",
          R"({"version": 1, "successes": [{"network_id": "ab", "at": -1}]})"}) {
        std::ofstream(path) << damaged;
        OnlineFile file(path);
        EXPECT_FALSE(file.Load().isAutoOn) << damaged;
        EXPECT_TRUE(std::filesystem::exists(path.string() + ".unusable"));
        EXPECT_FALSE(std::filesystem::exists(path));
        std::filesystem::remove(path.string() + ".unusable");
        OnlineRecord record{true, {"ab", "cd"}, {{"ab", std::chrono::sys_seconds(std::chrono::seconds(7))}}};
        EXPECT_TRUE(file.Save(record));
        const OnlineRecord read = OnlineFile(path).Load();
        EXPECT_TRUE(read.isAutoOn);
        EXPECT_EQ(read.preferred, record.preferred);
        EXPECT_EQ(read.successes, record.successes);
    }
    EXPECT_EQ(log.Count("it is now"), 6U);
}

}  // namespace
}  // namespace Vexo::Host

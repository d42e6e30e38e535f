#include "backends/linux/own_profiles.h"

#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/log_capture.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Linux {
namespace {

TEST(OwnProfilesTest, ChangesThatWereNotTakenBackAreThereAfterARestart)
{
    const Tests::TempFolder folder;
    OwnProfiles before(folder.Path());
    EXPECT_TRUE(before.Changes().empty());
    before.Note({"added", "", "home", false, true});
    before.Note({"hotspot", "/active/3", "", true, false});
    before.Note({"added", "/active/4", "home", false, true});
    before.Note({"forgotten", "", "", false, true});
    before.Forget("forgotten");

    const OwnProfiles after(folder.Path());
    ASSERT_EQ(after.Changes().size(), 2U);
    const NetworkChange& hotspot = after.Changes()[0];
    EXPECT_EQ(hotspot.profile + hotspot.activation + hotspot.previous, "hotspot/active/3");
    EXPECT_TRUE(hotspot.isHotspot && !hotspot.isOurProfile);
    const NetworkChange& added = after.Changes()[1];
    EXPECT_EQ(added.profile + added.activation + added.previous, "added/active/4home");
    EXPECT_TRUE(!added.isHotspot && added.isOurProfile);
}

TEST(OwnProfilesTest, ADamagedRecordIsLoggedAndCountsAsEmpty)
{
    const Tests::TempFolder folder;
    const Tests::LogCapture log;
    const std::string file = (folder.Path() / NETWORK_CHANGES_FILE).string();
    const std::pair<const char*, const char*> cases[] = {
        {"", ":1:1: the JSON ends too early (one JSON list)"},
        {"{}", ": an object is not a list (one JSON list)"},
        {R"([{"profile": "a"}])", ": 0.activation: missing (a text)"},
        {R"([{"profile": 1}])", ": 0.profile: 1 is not a text (a text)"},
    };
    for (const auto& [text, fault] : cases) {
        std::ofstream(file) << text;
        EXPECT_TRUE(OwnProfiles(folder.Path()).Changes().empty()) << text;
        EXPECT_EQ(log.Count("damaged, what it named is found by its mark only: " + file + fault), 1U) << log.Text();
    }
}

TEST(OwnProfilesTest, ARecordThatCannotBeWrittenIsLoggedWithFileAndCause)
{
    const Tests::TempFolder folder;
    const Tests::LogCapture log;
    OwnProfiles(folder.Path() / "missing").Note({"added", "", "home", false, true});
    const std::string file = (folder.Path() / "missing" / NETWORK_CHANGES_FILE).string();
    EXPECT_EQ(
        log.Count(file + ": cannot be written: No such file or directory; a crash now would leave changes behind"), 1U)
        << log.Text();
}

}  // namespace
}  // namespace Vexo::Linux

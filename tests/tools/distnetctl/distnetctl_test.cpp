// What distnetctl makes of words: which device is meant and how lines are laid out.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <map>

#include "platform/base/open_file.h"
#include "platform/base/text.h"
#include "tools/distnetctl/output.h"
#include "tools/distnetctl/peers.h"
#include "tools/distnetctl/time_word.h"

namespace Vexo::Ctl {
namespace {

const std::string PHONE_ID = "7f3a" + std::string(60, '1');
const std::string TABLET_ID = "7f3b" + std::string(60, '2');
const std::string SPARE_ID = "7f3c" + std::string(60, '2');

std::vector<Peer> Peers()
{
    return {{"phone", Host::DeviceType::PHONE, PHONE_ID, "", true, {}},
            {"phablet", Host::DeviceType::TABLET, TABLET_ID, "", false, {}},
            {"pho", Host::DeviceType::TABLET, SPARE_ID, "", false, {}}};
}

TEST(PeerTest, WordNamesOneDeviceOrTheErrorSaysWhy)
{
    const struct {
        std::string word;
        std::string found;  // network id, empty for an error
        const char* error = "";
    } table[] = {
        {"phone", PHONE_ID},
        {TABLET_ID, TABLET_ID},
        {"pho", SPARE_ID},
        {"pha", TABLET_ID},
        {"7f3b", TABLET_ID},
        {ShortId(TABLET_ID), TABLET_ID},
        {"7f3a...11", PHONE_ID},
        {std::string(64, 'c'), std::string(64, 'c')},
        {"7f3…2", "", "could be any of phablet (7f3b2…22222), "},
        {"7f3a…", "", "no trusted device"},
        {"7f3a1…11112", "", "no trusted device"},
        {"ph", "", "could be any of phone"},
        {"fone", "", "did you mean \"phone\"?"},
        {"", "", "no trusted device"},
        {std::string(63, 'c'), "", "no trusted device"},
    };
    for (const auto& row : table) {
        const auto peer = ResolvePeer(row.word, Peers());
        EXPECT_EQ(peer ? peer.value().networkId : "", row.found) << row.word;
        EXPECT_THAT(peer ? "" : peer.error().message, testing::HasSubstr(row.error)) << row.word;
    }
}

TEST(LayoutTest, ColumnsCountCharactersAndMarkWhatIsCut)
{
    EXPECT_EQ(Column("Büro", 6), "Büro  ");
    EXPECT_EQ(Column("Bürorechner", 5), "Büro…");
    EXPECT_EQ(DurationText(0.2), "1 ms");
    EXPECT_EQ(DurationText(3100), "3.1 s");
}

TEST(TimeTest, AnAgeADayOrRfc3339IsATimeAndAnythingElseAnError)
{
    const auto now = std::chrono::system_clock::from_time_t(1'795'262'886);  // 2026-11-21T12:08:06Z
    for (const auto& [word, secondsAgo] : std::map<std::string, double>{{"now", 0},
                                                                        {"90s", 90},
                                                                        {"10m ago", 600},
                                                                        {"2h", 7200},
                                                                        {"2026-11-21T12:08:05.5Z", 0.5},
                                                                        {"2026-11-21t14:08:00+02:00", 6}}) {
        EXPECT_EQ(std::chrono::duration<double>(now - ParseTime(word, now).value()).count(), secondsAgo) << word;
    }
    EXPECT_EQ(ParseTime("today", now).value() - ParseTime("yesterday", now).value(), std::chrono::hours(24));
    for (const char* word : {"", "10", "10x", "-1h", "2026-11-21", "2026-02-30T00:00:00Z", "2026-11-21T12:08:06",
                             "2026-11-21T24:00:00Z", "9999999d", "tomorrow"}) {
        EXPECT_FALSE(ParseTime(word, now)) << word;
    }
}

TEST(StreamsTest, AClosedOutputIsNotTakenByWhatIsOpenedNext)
{
    EXPECT_EXIT((close(STDOUT_FILENO), KeepStandardStreams(), _exit(dup(STDIN_FILENO) > STDERR_FILENO ? 0 : 1)),
                testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace Vexo::Ctl

// Tests how distnetctl finds the device or the time that an argument names, and how it formats its output.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <map>

#include "platform/base/open_file.h"
#include "platform/base/text.h"
#include "tools/distnetctl/event_reader.h"
#include "tools/distnetctl/output.h"
#include "tools/distnetctl/peers.h"
#include "tools/distnetctl/terminal.h"
#include "tools/distnetctl/time_word.h"
#include "tools/distnetctl/timing.h"

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

TEST(PeerTest, WordNamesOneDeviceOrErrorExplainsWhy)
{
    const struct {
        std::string word;
        std::string found;  // network id of the device, or empty for an error
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

TEST(PeerTest, ReachablePeersAreListedWithTransportIn80Columns)
{
    std::vector<Peer> peers = Peers();
    peers[0].transport = "tcp";
    peers[0].address = "192.0.2.7:11630";
    peers[1].online = true;
    peers[1].transport = "bluetooth";
    peers[1].address = "C0:00:00:00:00:01/129";
    peers[2].transport = "tcp";
    EXPECT_EQ(ReachableText(peers), "phone over LAN 192.0.2.7:11630, phablet over Bluetooth");
    EXPECT_THAT(PeerTable(peers)[1],
                testing::MatchesRegex("phone    phone   7f3a1…11111 now        reachable LAN 1.*"));
    peers[2].name = std::string(40, 'x');
    peers[2].address = "192.168.143.117:40117";
    EXPECT_EQ(TextWidth(PeerTable(peers)[3]), COLUMNS);
    peers.erase(peers.begin(), peers.begin() + 2);
    EXPECT_EQ(ReachableText(peers), "none (1 known)");
}

TEST(LayoutTest, ColumnsCountCharactersAndMarkTruncation)
{
    EXPECT_EQ(Column("Büro", 6), "Büro  ");
    EXPECT_EQ(Column("Bürorechner", 5), "Büro…");
    EXPECT_EQ(DurationText(0.2), "1 ms");
    EXPECT_EQ(DurationText(3100), "3.1 s");
}

TEST(LayoutTest, WrappedTextKeepsCommandsWhole)
{
    const struct {
        const char* text;
        const char* wrapped;
    } table[] = {
        {"Start it with `systemctl start distnet`, or not.", "Start it with\n  `systemctl start distnet`,\n  or not."},
        {"See `a command that is far too long for one line` here.",
         "See `a command that is far\n  too long for one line`\n  here."},
        {"An open ` quote wraps as other words do.", "An open ` quote wraps as\n  other words do."},
        {"one\n\ntwo", "one\n\n  two"},
        {"/a/path/without/any/space/in/it goes", "/a/path/without/any/space/in/it\n  goes"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(Wrapped(row.text, 28, 2), row.wrapped);
    }
}

TEST(AdviceTest, CommandsThatNeedRightsAreShownWithSudo)
{
    EXPECT_EQ(WithSudo("Do `systemctl start distnet`, then: journalctl -u distnet; not sudo systemctl restart x."),
              "Do `sudo systemctl start distnet`, then: sudo journalctl -u distnet; not sudo systemctl restart x.");
    EXPECT_EQ(WithSudo("systemctl status distnet shows it"), "systemctl status distnet shows it");
}

TEST(LayoutTest, AsciiMarksKeepColumns)
{
    for (const auto& [text, ascii] : std::map<std::string, std::string>{{"✓ done – ✗", "+ done - x"},
                                                                        {"3f91c…d6384 |", "3f91...6384 |"},
                                                                        {"a long na… |", "a long ... |"},
                                                                        {"… waiting …", "... waiting ..."},
                                                                        {"Büro", "Büro"}}) {
        EXPECT_EQ(AsciiMarks(text), ascii);
    }
    EXPECT_EQ(AsciiMarks(Column("Bürorechner", 9)), "Bürore...");
    EXPECT_TRUE(FitsShortId(AsciiMarks(ShortId(TABLET_ID)), TABLET_ID));
}

TEST(TimingTest, ConnectionTimeIsThatOfSuccessfulAttempt)
{
    const auto span = [](const char* name, int id, int beginMs, int endMs) {
        const std::string rest = R"(","name":")" + std::string(name) + R"(","id":)" + std::to_string(id) + R"(,"ts":)";
        return R"({"ph":"b)" + rest + std::to_string(beginMs) + R"(000},{"ph":"e)" + rest + std::to_string(endMs) +
               "000},";
    };
    const auto parse = [](const std::string& spans) {
        return ParseTiming(R"({"traceEvents":[)" + spans + R"({"ph":"M"}]})", {1000, 1900});
    };
    const std::string woken = span("collaboration start", 1, 1000, 1700);
    const std::string open = span("session open", 1, 1710, 1720);
    const std::string earlier = span("TLS handshake", 1, 900, 990) + span("seek", 1, 800, 1050);
    const std::string chain = span("connect", 1, 1010, 1015) + span("TLS handshake", 2, 1015, 1200) +
                              span("seek", 2, 1300, 1410) + span("connect", 2, 1020, 1380) +
                              span("connect", 3, 1400, 1500) + span("TLS handshake", 3, 1500, 1680) +
                              span("connect", 4, 1450, 1600) + span("TLS handshake", 4, 1600, 1800);
    const struct {
        std::string spans;
        const char* json;
    } table[] = {{woken + open + earlier + chain, R"(700,"seek_ms":100,"connect_ms":100,"handshake_ms":180,)"},
                 {woken + open + span("connect", 1, 1010, 1015), R"(700,"seek_ms":null,"connect_ms":null,"handshake_)"},
                 {woken + span("seek", 1, 1100, 1650), R"(700,"seek_ms":550,"connect_ms":null,"handshake_ms":null,)"}};
    for (const auto& row : table) {
        EXPECT_THAT(JsonText(TimingDetails(parse(row.spans)).get()), testing::HasSubstr(row.json));
    }
    const StepNames names{"+", "x", "phone", "Wi-Fi joined"};
    EXPECT_THAT(TimingLines(parse(woken + open + earlier + chain), false, names),
                testing::ElementsAre(testing::HasSubstr("phone         + woken            700 ms  █"),
                                     testing::HasSubstr("                  looking        100 ms  "),
                                     testing::HasSubstr("                  connecting     100 ms  "),
                                     testing::HasSubstr("                  handshake      180 ms  "),
                                     testing::HasSubstr("+ session open"), testing::HasSubstr("total")));
}

TEST(TimeTest, AgeDayOrRfc3339IsATimeAndOtherTextAnError)
{
    const auto now = std::chrono::system_clock::from_time_t(1'795'262'886);  // 2026-11-21T12:08:06Z
    for (const auto& [word, secondsAgo] : std::map<std::string, double>{{"now", 0},
                                                                        {"90s", 90},
                                                                        {"10m ago", 600},
                                                                        {"2h", 7200},
                                                                        {"1h30m", 5400},
                                                                        {"1d2h3s ago", 93603},

                                                                        {"2026-11-21T12:08:05.5Z", 0.5},
                                                                        {"2026-11-21t14:08:00+02:00", 6}}) {
        EXPECT_EQ(std::chrono::duration<double>(now - ParseTime(word, now).value()).count(), secondsAgo) << word;
    }
    EXPECT_EQ(ParseTime("today", now).value() - ParseTime("yesterday", now).value(), std::chrono::hours(24));
    for (const char* word : {"", "10", "10x", "-1h", "30m1h", "1h1h", "2026-02-30", "2026-02-30T00:00:00Z",
                             "2026-11-21 25:00", "2026-11", "2026-11-21T24:00:00Z", "9999999d", "tomorrow"}) {
        EXPECT_FALSE(ParseTime(word, now)) << word;
    }
}

// Sets the local time zone. The destructor removes the setting.
class TimeZone {
public:
    explicit TimeZone(const char* zone)
    {
        setenv("TZ", zone, 1);
        tzset();
    }
    ~TimeZone()
    {
        unsetenv("TZ");
        tzset();
    }
};

TEST(TimeTest, DatesAreReadAndShownInLocalTime)
{
    const TimeZone berlin("CET-1CEST,M3.5.0,M10.5.0/3");
    for (const auto& [word, utc] : std::map<std::string, std::string>{{"2026-11-21", "2026-11-20T23:00:00Z"},
                                                                      {"2026-07-01 14:00", "2026-07-01T12:00:00Z"},
                                                                      {"2026-11-21T14:00:05", "2026-11-21T13:00:05Z"},
                                                                      {"2026-03-29 02:30", "2026-03-29T01:30:00Z"}}) {
        EXPECT_EQ(ParseTime(word, {}).value(), ParseTime(utc, {}).value()) << word;
    }
    EXPECT_EQ(LocalTextWithOffset(ParseTime("2026-07-01T12:00:05Z", {}).value()), "2026-07-01 14:00:05 +02:00");
}

TEST(EventTest, MaskedIdResolvesToOnlyMatchingDevice)
{
    for (const auto& [masked, name] : std::map<std::string, std::string>{{"7f3a1****11111", "phone"},
                                                                         {ShortId(TABLET_ID), "phablet"},
                                                                         {"7f3******22222", ""},  // matches two devices
                                                                         {"7f3d1****11111", ""},
                                                                         {"******", ""},
                                                                         {PHONE_ID, ""},
                                                                         {"", ""}}) {
        EXPECT_EQ(NameOfMaskedId(masked, Peers()).value_or(""), name) << masked;
    }
}

TEST(StreamsTest, LaterOpenDoesNotReuseClosedOutputDescriptor)
{
    EXPECT_EXIT((close(STDOUT_FILENO), OpenClosedStandardStreams(), _exit(dup(STDIN_FILENO) > STDERR_FILENO ? 0 : 1)),
                testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace Vexo::Ctl

// Tests how a system event becomes a line of text, and the rotating files that store the lines.
#include "platform/dfx/event_file.h"

#include <gtest/gtest.h>

#include <fstream>
#include <thread>

#include "platform/dfx/event_text.h"
#include "platform/dfx/sys_event.h"
#include "tests/support/recorded_sys_events.h"
#include "tests/support/temp_folder.h"

namespace Vexo::QuviewDFX {
namespace {

using std::chrono::milliseconds;

SysEventRecord Event(const std::string& text)
{
    return {{}, "DOMAIN", "NAME", 4, {{"TEXT", text}}};
}

// A fixture that writes events of equal size with the numbers 1000, 1001 and so on. A file holds ten events, and there
// are at most three files.
class EventFileTest : public testing::Test {
protected:
    std::shared_ptr<EventFile> Open()
    {
        return EventFile::Open({path_, 10 * EventLine(Event("1000")).size(), 3}).value();
    }
    void WriteUntil(EventFile& file, int until)
    {
        for (; next_ < until; ++next_) {
            EXPECT_EQ(file.Write(Event(std::to_string(next_))), 0);
        }
    }
    // Reads all events after cursor_, a few lines at a time, and checks their numbers. from: the number of the first
    // event. until: the number after that of the last event. missed: whether the first read must report lost events.
    void ExpectToRead(EventFile& file, int from, int until, bool missed)
    {
        EventPage page;
        for (; from < until; cursor_ = page.next) {
            page = file.Read(cursor_, 300, milliseconds(0)).value();
            EXPECT_EQ(page.missed, std::exchange(missed, false)) << from;
            ASSERT_NE(page.next, cursor_) << from;
            std::istringstream lines(page.lines);
            for (std::string line; std::getline(lines, line); ++from) {
                EXPECT_EQ(line + "\n", EventLine(Event(std::to_string(from))));
            }
        }
        EXPECT_EQ(file.Read(cursor_, 300, milliseconds(0)).value().next, cursor_);
    }

    const Tests::TempFolder folder_;
    const std::filesystem::path path_ = folder_.Path() / "events.jsonl";
    int next_ = 1000;
    uint64_t cursor_ = 0;
};

TEST_F(EventFileTest, RotatedFileKeepsNewestEventsAndReportsGaps)
{
    const auto file = Open();
    WriteUntil(*file, 1015);
    ExpectToRead(*file, 1000, 1015, false);
    WriteUntil(*file, 1031);
    ExpectToRead(*file, 1015, 1031, false);
    WriteUntil(*file, 1095);
    ExpectToRead(*file, 1070, 1095, true);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.Path()), {}), 3);
    EXPECT_FALSE(file->Read(cursor_ + 1, 300, milliseconds(0))) << "a cursor that was never given";
    EXPECT_LT(file->Write(Event(std::string(MAX_EVENT_BYTES, 'x'))), 0);
    std::thread writer([&] { WriteUntil(*file, 1096); });
    EXPECT_NE(file->Read(cursor_, 300, std::chrono::seconds(20)).value().lines, "") << "waits for the next event";
    writer.join();
}

TEST_F(EventFileTest, RestartContinuesAndRemovesIncompleteLine)
{
    WriteUntil(*Open(), 1015);
    std::ofstream(path_, std::ios::app) << R"({"time":"2026-)";
    const auto file = Open();
    WriteUntil(*file, 1016);
    ExpectToRead(*file, 1000, 1016, false);
}

TEST(SysEventTest, EventIsOneJsonLineWithParametersInOrder)
{
    const std::string hostile = std::string("quote\" line\n back\\ \xC3\xA9 \xFF\xED\xA0\x80 ") + '\0';
    EXPECT_EQ(EventLine({{}, "NETMANAGER", "SOME_FAULT", 1, {{"TEXT", hostile}, {"NUMBER", -97}}}),
              R"({"time":"1970-01-01T00:00:00.000Z","domain":"NETMANAGER","name":"SOME_FAULT","type":1,"params":{)"
              R"("TEXT":"quote\" line\n back\\ é \\xff\\xed\\xa0\\x80 \\x00","NUMBER":-97}})"
              "\n");
}

TEST(SysEventTest, InvalidNameIsRefused)
{
    const Tests::RecordedSysEvents events;
    const std::string longest(32, 'A');
    for (const std::string& name : std::vector<std::string>{"", "lower", "1ST", "A-B", longest + "A"}) {
        EXPECT_EQ(QuSysEvent::Write(name, "NAME", QuSysEvent::BEHAVIOR), -1) << name;
        EXPECT_EQ(QuSysEvent::Write("DOMAIN", name, QuSysEvent::BEHAVIOR), -1) << name;
        EXPECT_EQ(QuSysEvent::Write("DOMAIN", "NAME", QuSysEvent::BEHAVIOR, name, 1), -1) << name;
    }
    EXPECT_EQ(QuSysEvent::Write(longest, longest, QuSysEvent::BEHAVIOR, longest, 1), 0);
    EXPECT_EQ(events.Lines().size(), 1U);
}

}  // namespace
}  // namespace Vexo::QuviewDFX

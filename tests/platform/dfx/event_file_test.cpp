#include "platform/dfx/event_file.h"

#include <gtest/gtest.h>

#include <fstream>
#include <numeric>
#include <thread>

#include "platform/dfx/event_text.h"
#include "tests/support/temp_folder.h"

namespace Vexo::QuviewDFX {
namespace {

using std::chrono::milliseconds;

SysEventRecord Event(const std::string& text)
{
    return {{}, "DOMAIN", "NAME", 4, {{"TEXT", text}}};
}

// Events of one size, numbered from 1000; ten fill a file, and there are three files.
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
    // That these numbers follow the cursor, in pages of a few lines, and whether some before them are missing.
    void ExpectToRead(EventFile& file, int from, int until, bool missed)
    {
        EventPage page;
        for (; from < until; cursor_ = page.next) {
            page = file.Read(cursor_, 300, milliseconds(0)).value();
            EXPECT_EQ(page.missed, std::exchange(missed, false)) << from;
            ASSERT_NE(page.next, cursor_) << from;
            std::istringstream lines(page.lines);
            for (std::string line; std::getline(lines, line); ++from) {
                EXPECT_NE(line.find("{\"TEXT\":\"" + std::to_string(from) + "\"}}"), std::string::npos) << line;
            }
        }
        EXPECT_EQ(file.Read(cursor_, 300, milliseconds(0)).value().next, cursor_);
    }

    const Tests::TempFolder folder_;
    const std::filesystem::path path_ = folder_.Path() / "events.jsonl";
    int next_ = 1000;
    uint64_t cursor_ = 0;
};

TEST_F(EventFileTest, ARotatedFileKeepsTheNewestAndItsReadersMissNothingUnnoticed)
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

TEST_F(EventFileTest, ARestartContinuesAndRemovesTheLineThatACrashCutShort)
{
    WriteUntil(*Open(), 1015);
    std::ofstream(path_, std::ios::app) << R"({"time":"2026-)";
    const auto file = Open();
    WriteUntil(*file, 1016);
    ExpectToRead(*file, 1000, 1016, false);
}

}  // namespace
}  // namespace Vexo::QuviewDFX

#include "platform/dfx/event_file.h"

#include <gtest/gtest.h>

#include <fstream>
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

class EventFileTest : public testing::Test {
protected:
    std::shared_ptr<EventFile> Open()
    {
        auto file = EventFile::Open({path_, 10 * EventLine(Event("0000")).size(), 3});
        EXPECT_TRUE(file) << (file ? "" : file.Message());
        return file ? file.Value() : nullptr;
    }
    // Writes events until, each with its number.
    void WriteUntil(EventFile& file, int until)
    {
        for (; written_ < until; ++written_) {
            EXPECT_EQ(file.Write(Event(std::to_string(written_ + 1000))), 0);
        }
    }
    // The numbers of all events from the cursor on, which moves on; pages of a few lines, so that many are needed.
    static std::string ReadAll(EventFile& file, uint64_t& cursor, bool& missed)
    {
        std::string numbers;
        for (bool more = true; more;) {
            const auto page = file.Read(cursor, 300, milliseconds(0));
            EXPECT_TRUE(page);
            more = page.Value().next != cursor;
            cursor = page.Value().next;
            missed = missed || page.Value().missed;
            std::istringstream lines(page.Value().lines);
            for (std::string line; std::getline(lines, line);) {
                numbers += line.substr(line.find("TEXT") + 7, 4) + " ";
            }
        }
        return numbers;
    }
    static std::string Numbers(int from, int until)
    {
        std::string numbers;
        for (; from < until; ++from) {
            numbers += std::to_string(from + 1000) + " ";
        }
        return numbers;
    }

    const Tests::TempFolder folder_;
    const std::filesystem::path path_ = folder_.Path() / "events.jsonl";
    int written_ = 0;
};

TEST_F(EventFileTest, ARotatedFileKeepsTheNewestAndItsReadersMissNothingUnnoticed)
{
    const auto file = Open();
    uint64_t cursor = 0;
    bool missed = false;
    WriteUntil(*file, 15);
    EXPECT_EQ(ReadAll(*file, cursor, missed), Numbers(0, 15));
    WriteUntil(*file, 31);
    EXPECT_EQ(ReadAll(*file, cursor, missed), Numbers(15, 31));
    EXPECT_FALSE(missed);
    WriteUntil(*file, 95);
    EXPECT_EQ(ReadAll(*file, cursor, missed), Numbers(70, 95));
    EXPECT_TRUE(missed);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.Path()), {}), 3);
    EXPECT_FALSE(file->Read(cursor + 1, 300, milliseconds(0))) << "a cursor that was never given";
    EXPECT_LT(file->Write(Event(std::string(MAX_EVENT_BYTES, 'x'))), 0);
    std::thread writer([&] { WriteUntil(*file, 96); });
    EXPECT_NE(file->Read(cursor, 300, std::chrono::seconds(20)).Value().lines, "") << "waits for the next event";
    writer.join();
}

TEST_F(EventFileTest, ARestartContinuesAndRemovesTheLineThatACrashCutShort)
{
    WriteUntil(*Open(), 15);
    std::ofstream(path_, std::ios::app) << R"({"time":"2026-)";
    const auto file = Open();
    WriteUntil(*file, 16);
    uint64_t cursor = 0;
    bool missed = false;
    EXPECT_EQ(ReadAll(*file, cursor, missed), Numbers(0, 16));
    EXPECT_FALSE(EventFile::Open({folder_.Path() / "no" / "folder"}));
}

}  // namespace
}  // namespace Vexo::QuviewDFX

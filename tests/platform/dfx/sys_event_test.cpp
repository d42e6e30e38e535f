#include "platform/dfx/sys_event.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <thread>

#include "platform/dfx/event_file.h"
#include "tests/support/temp_folder.h"

namespace Vexo::QuviewDFX {
namespace {

class SysEventTest : public testing::Test {
protected:
    SysEventTest()
    {
        auto sink = EventFile::Open({file_});
        EXPECT_TRUE(sink) << sink.error().message;
        SetSysEventSink(sink.value());
    }
    ~SysEventTest() override { SetSysEventSink(nullptr); }

    std::vector<std::string> Lines() const
    {
        std::vector<std::string> lines;
        std::ifstream input(file_);
        for (std::string line; std::getline(input, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    const Tests::TempFolder folder_;
    const std::filesystem::path file_ = folder_.Path() / "events.jsonl";
};

TEST_F(SysEventTest, AnEventIsOneJsonObjectALineWithItsParametersInOrder)
{
    const std::string hostile = std::string("quote\" line\n back\\ \xC3\xA9 \xFF\xED\xA0\x80 ") + '\0';
    EXPECT_EQ(QuSysEvent::Write("NETMANAGER", "SOME_FAULT", QuSysEvent::FAULT, "TEXT", hostile, "NUMBER", -97), 0);
    EXPECT_EQ(QuSysEvent::Write("NETMANAGER_UE", "BARE", QuSysEvent::BEHAVIOR), 0);
    const auto lines = Lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_THAT(lines[0], testing::MatchesRegex("\\{\"time\":\"[0-9-]{10}T[0-9:]{8}\\.[0-9]{3}Z\",.*"));
    EXPECT_THAT(lines[0],
                testing::EndsWith(R"("domain":"NETMANAGER","name":"SOME_FAULT","type":1,"params":{)"
                                  R"("TEXT":"quote\" line\n back\\ é \\xff\\xed\\xa0\\x80 \\x00","NUMBER":-97}})"));
    EXPECT_THAT(lines[1], testing::EndsWith(R"("domain":"NETMANAGER_UE","name":"BARE","type":4,"params":{}})"));
}

TEST_F(SysEventTest, ANameThatIsNoneIsRefusedAndNothingIsWritten)
{
    const std::string longest(32, 'A');
    for (const std::string& name : std::vector<std::string>{"", "lower", "1ST", "A-B", longest + "A"}) {
        EXPECT_EQ(QuSysEvent::Write(name, "NAME", QuSysEvent::BEHAVIOR), -1) << name;
        EXPECT_EQ(QuSysEvent::Write("DOMAIN", name, QuSysEvent::BEHAVIOR), -1) << name;
        EXPECT_EQ(QuSysEvent::Write("DOMAIN", "NAME", QuSysEvent::BEHAVIOR, name, 1), -1) << name;
    }
    EXPECT_TRUE(Lines().empty());
    EXPECT_EQ(QuSysEvent::Write(longest, longest, QuSysEvent::BEHAVIOR, longest, 1), 0);
}

TEST_F(SysEventTest, LinesOfSeveralThreadsNeverMixAndEarlierOnesStay)
{
    const auto write = [] {
        for (int i = 0; i < 200; ++i) {
            EXPECT_EQ(QuSysEvent::Write("D", "N", QuSysEvent::STATISTIC, "TEXT", std::string(300, 'x')), 0);
        }
    };
    std::thread other(write);
    write();
    other.join();
    SetSysEventSink(nullptr);
    SetSysEventSink(EventFile::Open({file_}).value());
    EXPECT_EQ(QuSysEvent::Write("D", "LAST", QuSysEvent::STATISTIC), 0);
    const auto lines = Lines();
    EXPECT_EQ(lines.size(), 401U);
    for (const std::string& line : lines) {
        EXPECT_THAT(line, testing::MatchesRegex("\\{[^{}]*\\{[^{}]*\\}\\}"));
    }
}

}  // namespace
}  // namespace Vexo::QuviewDFX

#include "platform/dfx/sys_event.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <thread>

#include "platform/dfx/trace.h"
#include "tests/support/temp_folder.h"

namespace Vexo::QuviewDFX {
namespace {

class SysEventTest : public testing::Test {
protected:
    SysEventTest()
    {
        auto sink = MakeJsonLinesSysEventSink(file_);
        EXPECT_TRUE(sink) << sink.Message();
        SetSysEventSink(sink.Value());
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
    // U+FFFD stands for each byte that is no UTF-8, and for the NUL.
    EXPECT_THAT(lines[0], testing::EndsWith(R"("domain":"NETMANAGER","name":"SOME_FAULT","type":1,"params":{)"
                                            R"("TEXT":"quote\" line\n back\\ é ���� �","NUMBER":-97}})"));
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
    SetSysEventSink(MakeJsonLinesSysEventSink(file_).Value());
    EXPECT_EQ(QuSysEvent::Write("D", "LAST", QuSysEvent::STATISTIC), 0);
    const auto lines = Lines();
    EXPECT_EQ(lines.size(), 401U);
    for (const std::string& line : lines) {
        EXPECT_THAT(line, testing::MatchesRegex("\\{[^{}]*\\{[^{}]*\\}\\}"));
    }
}

TEST_F(SysEventTest, AFileThatCannotBeWrittenIsAnErrorThatNamesItAndALostEventANegativeCode)
{
    const auto sink = MakeJsonLinesSysEventSink(folder_.Path() / "missing" / "events");
    ASSERT_FALSE(sink);
    EXPECT_THAT(sink.Message(), testing::HasSubstr("missing/events: events cannot be written: No such file"));
    SetSysEventSink(MakeJsonLinesSysEventSink("/dev/full").Value());
    EXPECT_LT(QuSysEvent::Write("D", "N", QuSysEvent::FAULT), 0);
    SetSysEventSink(nullptr);
    EXPECT_EQ(QuSysEvent::Write("D", "N", QuSysEvent::FAULT), 0);
}

TEST(TraceTest, EveryCallReachesTheSinkUntilItIsRemoved)
{
    struct Calls : TraceSink {
        void Write(TracePhase phase, uint64_t tag, std::string_view name, int32_t taskId) noexcept override
        {
            text += std::to_string(static_cast<int>(phase)) + " " + std::to_string(tag) + " " + std::string(name) +
                    " " + std::to_string(taskId) + "\n";
        }
        std::string text;
    };
    const auto calls = std::make_shared<Calls>();
    SetTraceSink(calls);
    StartTrace(8, "outer");
    StartAsyncTrace(8, "open", 7);
    FinishAsyncTrace(8, "open", 7);
    FinishTrace(8);
    SetTraceSink(nullptr);
    StartTrace(8, "unseen");
    EXPECT_EQ(calls->text, "0 8 outer 0\n2 8 open 7\n3 8 open 7\n1 8  0\n");
    EXPECT_EQ(calls.use_count(), 1);
}

}  // namespace
}  // namespace Vexo::QuviewDFX

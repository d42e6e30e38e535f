#include "platform/dfx/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <limits>
#include <thread>

#include "tests/support/log_capture.h"

namespace Vexo::QuviewDFX {
namespace {

constexpr LogLabel LABEL{LOG_DOMAIN_PLATFORM, "Test"};

class LastLine : public LogSink {
public:
    void Write(const LogRecord& record) noexcept override
    {
        EXPECT_EQ(record.label.domain, LABEL.domain);
        text = record.message;
        level = record.level;
    }
    std::string text;
    LogLevel level = LogLevel::DEBUG;
};

class LogTest : public testing::Test {
protected:
    LogTest() { SetLogSink(last_); }
    ~LogTest() override
    {
        SetLogSink(nullptr);
        SetLogLevel(LogLevel::INFO);
    }
    const std::shared_ptr<LastLine> last_ = std::make_shared<LastLine>();
};

TEST_F(LogTest, PublicArgumentsAreWrittenAndAllOthersMasked)
{
    const std::string name = "phone";
    const std::string_view view = "view";
    const char* nothing = nullptr;
    const std::string text(2000, 'x');
    struct Case {
        std::function<void()> log;
        std::string expected;
    };
    const Case cases[] = {
        {[] { LogInfo(LABEL, "plain"); }, "plain"},
        {[&] { LogInfo(LABEL, "%{public}s %{public}s %{public}s", name, view, "text"); }, "phone view text"},
        {[] { LogInfo(LABEL, "%{public}d, %{public}d", std::numeric_limits<int32_t>::min(), int8_t{-3}); },
         "-2147483648, -3"},
        {[] { LogInfo(LABEL, "%{public}u|%{public}lu", 4294967295U, std::numeric_limits<uint64_t>::max()); },
         "4294967295|18446744073709551615"},
        {[] { LogInfo(LABEL, "%{public}d%{public}d end", true, false); }, "10 end"},
        {[&] { LogInfo(LABEL, "%{private}s %s key", name, "hunter"); }, "<private> <private> key"},
        {[] { LogInfo(LABEL, "%d %u %lu %{private}d%{public}u", 1, 2U, uint64_t{3}, 4, 5U); },
         "<private> <private> <private> <private>5"},
        {[&] { LogInfo(LABEL, "%{public}s", nothing); }, "(null)"},
        {[&] { LogInfo(LABEL, "%{public}s.", text); }, text + "."},
    };
    for (const Case& c : cases) {
        c.log();
        EXPECT_EQ(last_->text, c.expected);
    }
}

TEST_F(LogTest, ARecordBelowTheLevelIsDropped)
{
    SetLogLevel(LogLevel::WARN);
    LogInfo(LABEL, "hidden");
    EXPECT_EQ(last_->text, "");
    LogWarn(LABEL, "warned");
    EXPECT_EQ(last_->level, LogLevel::WARN);
    LogError(LABEL, "failed");
    EXPECT_EQ(last_->text, "failed");
    SetLogLevel(LogLevel::DEBUG);
    Log(LogLevel::DEBUG, LABEL, "detail");
    EXPECT_EQ(last_->level, LogLevel::DEBUG);
}

TEST_F(LogTest, StandardErrorGetsOneLineARecordWhateverItHolds)
{
    const auto written = [](const std::function<void()>& log) {
        testing::internal::CaptureStderr();
        log();
        return testing::internal::GetCapturedStderr();
    };
    const std::string hostile = "a\nb\x1B[2J";
    const auto log = [&] { LogError(LABEL, " name %{public}s", hostile); };
    constexpr const char* EXPECTED = "[0-9]+:[0-9]+:[0-9]+\\.[0-9]+ E Test: name a\\?b\\?\\[2J\n";
    SetLogSink(MakeStderrLogSink());
    EXPECT_THAT(written(log), testing::MatchesRegex(EXPECTED));
    SetLogSink(nullptr);  // the default
    EXPECT_THAT(written(log), testing::MatchesRegex(EXPECTED));
    EXPECT_THAT(written([] { LogInfo(LABEL, "no space"); }), testing::EndsWith("I Test: no space\n"));
}

TEST_F(LogTest, SinksAreReplacedWhileOthersWriteAndEachIsReleasedAfterItsLastWrite)
{
    struct Sink : LogSink {
        explicit Sink(std::atomic<int>& counter) : writes(counter) {}
        ~Sink() override { alive = false; }
        void Write(const LogRecord&) noexcept override
        {
            EXPECT_TRUE(alive);
            ++writes;
        }
        std::atomic<int>& writes;
        std::atomic<bool> alive{true};
    };
    constexpr int WRITERS = 3;
    constexpr int LINES = 2000;
    std::atomic<int> writes{0};
    std::atomic<int> writing{WRITERS};
    SetLogSink(std::make_shared<Sink>(writes));
    std::vector<std::thread> writers;
    for (int i = 0; i < WRITERS; ++i) {
        writers.emplace_back([&] {
            for (int k = 0; k < LINES; ++k) {
                LogInfo(LABEL, "line %{public}d", k);
            }
            --writing;
        });
    }
    while (writing > 0) {
        SetLogSink(std::make_shared<Sink>(writes));
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    EXPECT_EQ(writes, WRITERS * LINES);
}

}  // namespace
}  // namespace Vexo::QuviewDFX

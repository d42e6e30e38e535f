#include "platform/dfx/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "tests/support/log_capture.h"

namespace Vexo::QuviewDFX {
namespace {

constexpr LogLabel LABEL{LOG_DOMAIN_PLATFORM, "Test"};

TEST(LogTest, PrivateArgumentsAreMaskedAndLowLevelsDropped)
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
        {[&] { LogInfo(LABEL, "%{public}s %{public}s %{public}s", name, view, "text"); }, "phone view text"},
        {[] { LogInfo(LABEL, "%{public}d, %{public}d", INT32_MIN, true); }, "-2147483648, 1"},
        {[] { LogInfo(LABEL, "%{public}u|%{public}lu", 4294967295U, UINT64_MAX); }, "4294967295|18446744073709551615"},
        {[&] { LogInfo(LABEL, "%{private}s %s %d %u %lu%{public}u", name, view, 1, 2U, uint64_t{3}, 4U); },
         "<private> <private> <private> <private> <private>4"},
        {[&] { LogInfo(LABEL, "%{public}s", nothing); }, "(null)"},
        {[&] { LogInfo(LABEL, "%{public}s.", text); }, text + "."},
        {[] { LogInfo(LABEL, "%{public}s|%{public}s", "caf\u00E9\n\u009B2J\u202E", "\xFF"); },
         "caf\u00E9\\x0a\\xc2\\x9b2J\\xe2\\x80\\xae|\\xff"},
    };
    for (const Case& c : cases) {
        const Tests::LogCapture log;
        SetLogLevel(LogLevel::WARN);
        c.log();
        SetLogLevel(LogLevel::INFO);
        EXPECT_EQ(log.Text(), "");
        c.log();
        EXPECT_EQ(log.Text(), c.expected + "\n");
    }
}

TEST(LogTest, CallBeyondItsLineLimitIsCountedAndOtherCallsAreWritten)
{
    const Tests::LogCapture log;
    SetLogLineLimit(3);
    int calls = 0;
    do {
        LogInfo(LABEL, "flood");
        ++calls;
    } while (!log.Contains("left out"));
    LogInfo(LABEL, "other call");
    SetLogLineLimit(0);
    const std::string text = log.Text();
    const auto written = std::count(text.begin(), text.end(), '\n') - 1;
    EXPECT_LE(written, 7);  // three in the first second, at most three in a second one, and the last line
    EXPECT_THAT(text, testing::HasSubstr("flood; " + std::to_string(calls - written) + " lines like it were left out"));
    EXPECT_THAT(text, testing::HasSubstr("\nother call\n"));
}

TEST(LogTest, StandardErrorGetsOneLinePerRecord)
{
    const auto written = [](const std::function<void()>& log) {
        testing::internal::CaptureStderr();
        log();
        return testing::internal::GetCapturedStderr();
    };
    const std::string hostile = "a\nb\x1B[2J";
    const auto log = [&] { LogError(LABEL, " name %{public}s", hostile); };
    setenv("TZ", "IST-05:30", 1);
    tzset();
    constexpr const char* EXPECTED =
        "20[0-9]+-[0-9]+-[0-9]+T[0-9]+:[0-9]+:[0-9]+\\.[0-9]+\\+05:30 E Test: name a.x0ab.x1b\\[2J\n";
    SetLogSink(MakeStderrLogSink());
    EXPECT_THAT(written(log), testing::MatchesRegex(EXPECTED));
    SetLogSink(nullptr);  // restores the default sink
    EXPECT_THAT(written(log), testing::MatchesRegex(EXPECTED));
    EXPECT_THAT(written([] { LogInfo(LABEL, "no space"); }), testing::EndsWith("I Test: no space\n"));
}

}  // namespace
}  // namespace Vexo::QuviewDFX

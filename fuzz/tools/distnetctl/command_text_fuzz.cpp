// Fuzzes two parsers of distnetctl. One parser reads times that people type. The other parser reads the daemon's trace
// and finds the steps of the command "start" in it.
#include <algorithm>

#include "fuzz/fuzz_target.h"
#include "platform/base/utf8.h"
#include "tools/distnetctl/time_word.h"
#include "tools/distnetctl/timing.h"

namespace Vexo::Ctl {
namespace {

constexpr size_t MAX_COLUMNS = 80;
const WallTime NOW{std::chrono::hours(490'000)};
const Interval ASKED{1'000, 5'000};

std::vector<std::string> Samples()
{
    return {"10m",
            "1h30m ago",
            "yesterday",
            "2026-11-21 14:00",
            "2026-11-21T14:00:00+01:00",
            R"({"traceEvents": [{"ph": "X", "name": "start", "ts": 1000000, "dur": 2000000},
                {"ph": "b", "name": "collaboration start", "id": 1, "ts": 1100000},
                {"ph": "X", "name": "connect", "ts": 1150000, "dur": 20000},
                {"ph": "X", "name": "TLS handshake", "ts": 1200000, "dur": 30000},
                {"ph": "e", "name": "collaboration start", "id": 1, "ts": 1300000},
                {"ph": "X", "name": "session open", "ts": 1400000, "dur": 100000}]})"};
}

bool ParsesTime(const std::string& word)
{
    const Result<WallTime> time = ParseTime(word, NOW);
    if (!time) {
        Fuzz::Require(!time.error().message.empty(), "a refusal says what is allowed");
        return false;
    }
    Fuzz::Require(!LocalTextWithOffset(time.value()).empty(), "a time can be shown");
    Fuzz::Require(!word.ends_with("ago") || time.value() <= NOW, "an age is in the past");
    return true;
}

bool ParsesTrace(const std::string& trace)
{
    const Timing timing = ParseTiming(trace, ASKED);
    bool hasStep = false;
    for (const auto& step : {timing.collaboration, timing.seek, timing.connect, timing.handshake, timing.session,
                             timing.answer, timing.wifi}) {
        hasStep = hasStep || step.has_value();
    }
    for (const bool hasFailed : {false, true}) {
        for (const std::string& line : TimingLines(timing, hasFailed, {"+", "x", "phone", "Wi-Fi joined"})) {
            Fuzz::Require(CodePointCount(line) <= MAX_COLUMNS, "a line has at most 80 columns");
        }
    }
    Fuzz::Require(TimingDetails(timing) != nullptr, "the steps can be printed as JSON");
    return hasStep;
}

bool Run(std::string_view input)
{
    const std::string text(input);
    const bool isTime = ParsesTime(text);
    return ParsesTrace(text) || isTime;
}

const Fuzz::Registration REGISTRATION({"distnetctl_text", Samples, Run});

}  // namespace
}  // namespace Vexo::Ctl

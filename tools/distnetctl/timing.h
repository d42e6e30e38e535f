// Timing: where the time of a start went, read from the daemon's trace, and shown as a picture of bars. Times are in
// milliseconds of the steady clock, which the daemon's trace counts too. Value types; pure functions.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/json.h"

namespace Vexo::Ctl {

struct Interval {
    double beginMs = 0;
    double endMs = 0;
    double Length() const { return endMs - beginMs; }
};

// The steps in their order; one that was not reached is empty.
struct Timing {
    Interval total;
    std::optional<Interval> collaboration;  // the peer is woken
    std::optional<Interval> session;        // a session to it is opened
    std::optional<Interval> answer;         // from the request to the answer
    std::optional<Interval> wifi;           // from the answer on
};

// The steps of the start that was asked for and answered in that time. Others may start at the same time; theirs begin
// or end outside it.
Timing ParseTiming(const std::string& trace, Interval asked);

// The steps as lines of at most 80 columns: mark, name, duration and a bar in its place. With failed the last step
// reached is the one that failed. first stands before the first line, and is 12 columns wide.
struct StepNames {
    std::string tick;
    std::string cross;
    std::string first;
    std::string wifi;           // what a good last step is called
    bool isUnfinished = false;  // with failed: the last step goes on, nobody waits for it any more
};
std::vector<std::string> TimingLines(const Timing& timing, bool failed, const StepNames& names);

// {"collaboration_ms":,"session_ms":,"answer_ms":,"wifi_ms":,"total_ms":}; null for a step that was not reached.
Json TimingDetails(const Timing& timing);

// Now, in milliseconds of the steady clock.
double SteadyNowMs();

}  // namespace Vexo::Ctl

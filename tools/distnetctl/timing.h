// Timing: how long each step of `start` took, read from the daemon's trace and shown as bars. Times are in milliseconds
// of the steady clock, which the daemon's trace uses too. Value types and functions without state; any thread.
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

// The steps in their order. A step that was not reached has no value. seek, connect and handshake are parts of
// collaboration: how the connection to the peer was made. They have no value if there was a connection already.
struct Timing {
    Interval total;
    std::optional<Interval> collaboration;  // the peer is woken
    std::optional<Interval> seek;           // it is looked for by radio
    std::optional<Interval> connect;        // a connection to its address is made
    std::optional<Interval> handshake;      // both devices prove who they are
    std::optional<Interval> session;        // a session to it is opened
    std::optional<Interval> answer;         // from the request to the answer
    std::optional<Interval> wifi;           // from the answer to the joined Wi-Fi
};

// Finds the steps of one start in the trace. asked: from its request to its answer. Steps of other starts that run at
// the same time are told apart because they begin or end outside this interval.
Timing ParseTiming(const std::string& trace, Interval asked);

// The steps as lines of at most 80 columns: mark, name, duration, and a bar that shows when the step ran. Parts of a
// step follow it, indented and without a mark. If failed, the last step that was reached is shown as the one that
// failed.
struct StepNames {
    std::string tick;
    std::string cross;
    std::string first;          // shown in the first 12 columns of the first line
    std::string wifi;           // name of the last step if it is good
    bool isUnfinished = false;  // with failed: the last step still runs, but its time limit has passed
};
std::vector<std::string> TimingLines(const Timing& timing, bool failed, const StepNames& names);

// {"collaboration_ms":,"seek_ms":,"connect_ms":,"handshake_ms":,"session_ms":,"answer_ms":,"wifi_ms":,"total_ms":};
// null for a step without a value.
Json TimingDetails(const Timing& timing);

// Now, in milliseconds of the steady clock.
double SteadyNowMs();

}  // namespace Vexo::Ctl

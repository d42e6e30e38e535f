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
    std::optional<Interval> collaboration;  // waking the peer
    std::optional<Interval> seek;           // searching for the peer by radio
    std::optional<Interval> connect;        // connecting to the peer's address
    std::optional<Interval> handshake;      // authenticating both devices
    std::optional<Interval> session;        // opening a session to the peer
    std::optional<Interval> answer;         // from the request to the answer
    std::optional<Interval> wifi;           // from the answer to the joined Wi-Fi
};

// Finds the steps of one start in the trace. asked: the time from its request to its answer. Only steps within this
// interval are used, so that steps of other starts are left out.
Timing ParseTiming(const std::string& trace, Interval asked);

// Marks and names for TimingLines.
struct StepNames {
    std::string tick;
    std::string cross;
    std::string first;          // shown in the first 12 columns of the first line
    std::string wifi;           // name of the Wi-Fi step if it succeeded
    bool isUnfinished = false;  // with failed: the last step timed out and is shown as running
};
// Formats the steps as lines of at most 80 columns: mark, name, duration, and a bar that shows when the step ran. The
// parts of a step follow the step, indented and without a mark. If failed, the last step that was reached is shown as
// failed.
std::vector<std::string> TimingLines(const Timing& timing, bool failed, const StepNames& names);

// {"collaboration_ms":,"seek_ms":,"connect_ms":,"handshake_ms":,"session_ms":,"answer_ms":,"wifi_ms":,"total_ms":};
// null for a step without a value.
Json TimingDetails(const Timing& timing);

// Now, in milliseconds of the steady clock.
double SteadyNowMs();

}  // namespace Vexo::Ctl

// Timing: how long each step of the command `start` took. The durations come from the daemon's trace and are shown as
// bars. Times are milliseconds of the steady clock, because the daemon's trace also uses this clock. Value types and
// stateless functions; any thread.
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

// The steps of one start, in their order. A step has no value if it was not reached. The members seek, connect and
// handshake are parts of the step collaboration: they show how the connection to the peer was made. They have no value
// if a connection already existed.
struct Timing {
    Interval total;
    std::optional<Interval> collaboration;  // waking the peer
    std::optional<Interval> seek;           // searching for the peer by radio
    std::optional<Interval> connect;        // connecting to the peer's address
    std::optional<Interval> handshake;      // authenticating both devices
    std::optional<Interval> session;        // opening a session to the peer
    std::optional<Interval> answer;         // waiting for the peer's answer to the request
    std::optional<Interval> wifi;           // joining the Wi-Fi after the peer's answer
};

// Finds the steps of one start in the trace. asked: the interval from the request to the answer. Steps outside this
// interval are ignored, because they belong to other starts.
Timing ParseTiming(const std::string& trace, Interval asked);

// The marks and the texts that TimingLines prints.
struct StepNames {
    std::string tick;
    std::string cross;
    std::string first;          // text for the first 12 columns of the first line
    std::string wifi;           // the name of the Wi-Fi step if it succeeded
    bool isUnfinished = false;  // used if the start failed; true: the last step timed out and is shown as running
};
// Formats the steps as lines of at most 80 columns. The line of a step has a mark, a name, a duration, and a bar that
// shows when the step ran. The lines for the parts of a step follow it; they are indented and have no mark. The last
// line shows the total duration. failed: true if the last step that was reached is shown as failed.
std::vector<std::string> TimingLines(const Timing& timing, bool failed, const StepNames& names);

// Returns a JSON object with these members: {"collaboration_ms", "seek_ms", "connect_ms", "handshake_ms", "session_ms",
// "answer_ms", "wifi_ms", "total_ms"}. A member is null if its step has no value.
Json TimingDetails(const Timing& timing);

double SteadyNowMs();

}  // namespace Vexo::Ctl

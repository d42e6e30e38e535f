// Formats attempts to get online and off again, for a person and as JSON: the steps, the outcome, and what was undone.
// Pass the answers as the daemon sent them: the functions escape their texts. Pure functions; any thread.
#pragma once

#include <string>
#include <vector>

#include "interfaces/online_answers.h"
#include "platform/base/clock.h"
#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {

// How the steps of an attempt are shown.
struct StepStyle {
    std::string tick;
    std::string cross;
    // Whether a failed step shows the reason. False for an attempt with one device: its outcome shows the reason.
    bool givesReasons = false;
};

// The lines of a step that has ended, at most 80 columns wide. The first column shows the device's name only if
// isFirst.
std::vector<std::string> StepLines(const Host::OnlineStep& step, bool isFirst, const StepStyle& style);
// What a running step waits for: "waiting for phone's hotspot".
std::string WaitText(const Host::OnlineStep& step);

// The message of a successful attempt: "You are online through phone (battery 64 %, 4G). `distnetctl down` ends it."
std::string OnlineText(const Host::OnlineAnswer& attempt);
// What was undone on both devices: "this device is back on "office"; phone closed its hotspot"
std::string TakenBackText(const Host::TakenBack& back);

// The outcome of an attempt that has ended. isForOne: the user has named one device, so its fault is the message.
Outcome FromAttempt(const Host::OnlineAnswer& attempt, bool isForOne);
// The outcomes of an attempt that this program has cancelled: FromCancelled after Ctrl-C, FromTimedOut after the time
// of
// --timeout. why: the beginning of the message.
Outcome FromCancelled(const Host::OnlineAnswer& attempt);
Outcome FromTimedOut(const Host::OnlineAnswer& attempt, const std::string& why);
// FromFault returns the outcome for a fault that the daemon reports, FromDown the outcome of `down`.
Outcome FromFault(const Host::OnlineFault& fault);
Outcome FromDown(const Host::DownAnswer& down);

// The state of automatic mode: "off", "on: it is getting this device online".
std::string AutoText(const Host::AutoStatus& status, WallTime now);

}  // namespace Vexo::Ctl

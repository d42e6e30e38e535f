// Formats what happened when this device tried to get online or went offline: the steps, the outcome, and what was
// undone. The result is text for a person, or JSON. These functions escape the texts in the daemon's answers, so pass
// the answers unchanged. Pure functions; any thread.
#pragma once

#include <string>
#include <vector>

#include "interfaces/online_answers.h"
#include "platform/base/clock.h"
#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {

// Defines how StepLines formats the steps of an attempt.
struct StepStyle {
    std::string tick;
    std::string cross;
    // Whether the line of a failed step shows the reason. False if the attempt uses only one device, because its
    // outcome then shows the reason.
    bool givesReasons = false;
};

// Returns the lines of a step that has ended. They are at most 80 columns wide. isFirst: whether the first column shows
// the name of the device.
std::vector<std::string> StepLines(const Host::OnlineStep& step, bool isFirst, const StepStyle& style);
// Returns what a running step waits for, such as "waiting for phone's hotspot".
std::string WaitText(const Host::OnlineStep& step);

// Returns the message of a successful attempt: "You are online through phone (battery 64 %, 4G). `distnetctl down` ends
// it."
std::string OnlineText(const Host::OnlineAnswer& attempt);
// Returns what was undone on both devices: "this device is back on "office"; phone closed its hotspot".
std::string UndoneText(const Host::UndoneChanges& back);

// Returns the outcome of an attempt that has ended. isForOne: whether the user named exactly one device. If so, the
// outcome shows the failure of this device.
Outcome FromAttempt(const Host::OnlineAnswer& attempt, bool isForOne);
// FromCancelled returns the outcome of an attempt that Ctrl-C has cancelled. FromTimedOut returns the outcome of an
// attempt that was cancelled because the time of --timeout had passed. why: the first words of the message.
Outcome FromCancelled(const Host::OnlineAnswer& attempt);
Outcome FromTimedOut(const Host::OnlineAnswer& attempt, const std::string& why);
// FromFault returns the outcome for a fault that the daemon reports. FromDown returns the outcome of the command
// `down`.
Outcome FromFault(const Host::OnlineFault& fault);
Outcome FromDown(const Host::DownAnswer& down);

// Returns the state of automatic mode as text: "off", "on: it is getting this device online".
std::string AutoText(const Host::AutoStatus& status, WallTime now);

}  // namespace Vexo::Ctl

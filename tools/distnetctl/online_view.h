// Getting online and off again as a person and a program see it: steps, ends, and what was taken back. The answers
// passed in are as the daemon sent them; the functions escape their texts. Pure functions; any thread.
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
    // Whether a failed step says why. False where the end of the command says it: an attempt at one device.
    bool givesReasons = false;
};

// The lines of a step that has ended, of at most 80 columns. The first column is the device's name, if isFirst.
std::vector<std::string> StepLines(const Host::OnlineStep& step, bool isFirst, const StepStyle& style);
// What a running step waits for: "waiting for phone's hotspot".
std::string WaitText(const Host::OnlineStep& step);

// "You are online through phone (battery 64 %, 4G). `distnetctl down` ends it."
std::string OnlineText(const Host::OnlineAnswer& attempt);
// "this device is back on "office"; phone closed its hotspot"
std::string TakenBackText(const Host::TakenBack& back);

// The outcome of an attempt that has ended. isForOne: one device was meant, so its sentence is the message.
Outcome FromAttempt(const Host::OnlineAnswer& attempt, bool isForOne);
// The outcome after this program has cancelled the attempt because of Ctrl-C or, with why, for another reason; why is
// a sentence's beginning.
Outcome FromCancelled(const Host::OnlineAnswer& attempt);
Outcome FromTimedOut(const Host::OnlineAnswer& attempt, const std::string& why);
// The outcome for what the daemon could not do.
Outcome FromFault(const Host::OnlineFault& fault);
Outcome FromDown(const Host::DownAnswer& down);

// "on: this device has a network"
std::string AutoText(const Host::AutoStatus& status, WallTime now);

}  // namespace Vexo::Ctl

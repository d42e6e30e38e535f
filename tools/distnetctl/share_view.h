// Formats for a person which devices use this device's network, and which are allowed to. status must be printable
// (printable.h). Pure functions; any thread.
#pragma once

#include <string>
#include <vector>

#include "interfaces/online_answers.h"
#include "interfaces/sharing_answers.h"
#include "platform/base/clock.h"
#include "tools/distnetctl/status_view.h"

namespace Vexo::Ctl {

// The lines of `status` about sharing: which devices use the network now, and which ask for it. May be empty.
std::vector<StatusLine> ShareLines(const Host::ShareStatus& status, WallTime now);
// The lines of `status` about this device being online through another one, and about automatic mode. Often empty.
std::vector<StatusLine> OnlineLines(const Host::OnlineStatus& status, WallTime now);
// The lines of `share status`.
std::vector<StatusLine> ShareStatusLines(const Host::ShareStatus& status, WallTime now);
// "laptop asks to use this device's network.", followed by the commands that allow and deny it.
std::vector<std::string> RequestLines(const Host::ShareRequest& request);
// What a decision means: "laptop may use this device's network until midnight."
std::string DecisionText(const std::string& name, Host::ShareDecision decision);

}  // namespace Vexo::Ctl

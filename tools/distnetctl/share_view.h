// Makes texts for a person that say which devices use the network of this device, and which devices may use it. The
// texts in all arguments must be printable (printable.h). Pure functions; any thread.
#pragma once

#include <string>
#include <vector>

#include "interfaces/online_answers.h"
#include "interfaces/sharing_answers.h"
#include "platform/base/clock.h"
#include "tools/distnetctl/status_view.h"

namespace Vexo::Ctl {

// Returns the lines about sharing for the command `status`: the devices that use this device's network now, and the
// devices that ask for permission. May be empty.
std::vector<StatusLine> ShareLines(const Host::ShareStatus& status, WallTime now);
// Returns the lines of the command `status` that say through which device this device is online, and what automatic
// mode does. Often empty.
std::vector<StatusLine> OnlineLines(const Host::OnlineStatus& status, WallTime now);
// Returns the lines of the command `share status`.
std::vector<StatusLine> ShareStatusLines(const Host::ShareStatus& status, WallTime now);
// Returns a line such as "laptop asks to use this device's network.", and lines with the commands that answer the
// request.
std::vector<std::string> RequestLines(const Host::ShareRequest& request);
// Explains a decision of the user in one sentence: "laptop may use this device's network until midnight."
std::string DecisionText(const std::string& name, Host::ShareDecision decision);

}  // namespace Vexo::Ctl

// AwaitVersion: reads the version of a daemon, and waits until the daemon can answer: a daemon takes its name on the
// bus before it exports its objects. Any thread may call it.
#pragma once

#include <string>

#include "backends/linux/bus.h"
#include "platform/tasks/timers.h"

namespace Vexo::Linux {

// property: the one of the daemon's object that holds its version. Blocks until the object is there, at most
// BUS_CALL_LIMIT in all.
[[nodiscard]] Result<std::string> AwaitVersion(Bus& bus, const BusObject& object, const std::string& property,
                                               Tasks::Timers& timers = Tasks::Timers::System());

}  // namespace Vexo::Linux

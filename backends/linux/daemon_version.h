// AwaitVersion: what version a daemon says it is, and with it that it can be asked: a daemon takes its name on the bus
// some time before its objects are there. Any thread.
#pragma once

#include <string>

#include "backends/linux/bus.h"
#include "platform/tasks/timers.h"

namespace Vexo::Linux {

// The property of the daemon's object that holds its version. Blocks until the object is there, at most
// BUS_CALL_LIMIT in all.
[[nodiscard]] Result<std::string> AwaitVersion(Bus& bus, const BusObject& object, const std::string& property,
                                               Tasks::Timers& timers = Tasks::Timers::System());

}  // namespace Vexo::Linux

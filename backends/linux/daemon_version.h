// AwaitVersion: reads the version of a daemon that may just be starting: a daemon acquires its name on the bus before
// it exports its objects. Any thread may call it.
#pragma once

#include <string>

#include "backends/linux/bus.h"
#include "platform/tasks/timers.h"

namespace Vexo::Linux {

// property: the name of the property that contains the version. Retries while the object or the property is missing,
// for at most BUS_CALL_LIMIT. Blocks meanwhile; the last call may take another BUS_CALL_LIMIT.
[[nodiscard]] Result<std::string> AwaitVersion(Bus& bus, const BusObject& object, const std::string& property,
                                               Tasks::Timers& timers = Tasks::Timers::System());

}  // namespace Vexo::Linux

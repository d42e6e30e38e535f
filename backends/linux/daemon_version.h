// AwaitVersion: reads the version of a daemon that may just be starting. It retries, because a daemon acquires its name
// on the bus before it exports its objects. Any thread may call it.
#pragma once

#include <string>

#include "backends/linux/bus.h"
#include "platform/tasks/timers.h"

namespace Vexo::Linux {

// Returns the version that the object has in a property. property: the property's name. While the object or the
// property is missing, retries for at most BUS_CALL_LIMIT. Blocks during this time. The last call may take another
// BUS_CALL_LIMIT.
[[nodiscard]] Result<std::string> AwaitVersion(Bus& bus, const BusObject& object, const std::string& property,
                                               Tasks::Timers& timers = Tasks::Timers::System());

}  // namespace Vexo::Linux

// Lists the known devices for callers of the soft bus (softbus_service.h): what is stored about each device, whether it
// is reachable now, and which address would be tried first. Any thread. Does not block.
#pragma once

#include <vector>

#include "platform/softbus/reactor_context.h"
#include "platform/softbus/softbus_service.h"

namespace Vexo::SoftBus {

// Sorted: reachable devices first, then by name.
std::vector<Node> ListNodes(const ReactorContext& context);

}  // namespace Vexo::SoftBus

// The known devices as callers of the soft bus see them (softbus_service.h): what is remembered of each, and whether
// and where it would be reached now. Any thread. Does not block.
#pragma once

#include <vector>

#include "platform/softbus/reactor_context.h"
#include "platform/softbus/softbus_service.h"

namespace Vexo::SoftBus {

// Reachable ones first, then by name.
std::vector<Node> ListNodes(const ReactorContext& context);

}  // namespace Vexo::SoftBus

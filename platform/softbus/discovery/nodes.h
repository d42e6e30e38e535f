// Lists the known devices for callers of the soft bus (softbus_service.h). The list says what is stored about each
// device, whether the device is reachable now, and which of its addresses a dial would try first. Thread-safe. Does not
// block.
#pragma once

#include <vector>

#include "platform/softbus/reactor_context.h"
#include "platform/softbus/softbus_service.h"

namespace Vexo::SoftBus {

// Returns the known devices. Reachable devices come first, and each group is sorted by name.
std::vector<Node> ListNodes(const ReactorContext& context);

}  // namespace Vexo::SoftBus

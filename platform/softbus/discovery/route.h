// Chooses the addresses at which a device is tried, and their order. Any thread. No call blocks.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "platform/softbus/link/dial.h"

namespace Vexo::SoftBus {

// An address where the device was reached before is tried this long after the first announced address. If it is
// announced too, it may be tried earlier, in its turn.
inline constexpr std::chrono::milliseconds ANNOUNCED_AHEAD{300};

// Returns the routes to the device with that network id, or to any device whose network id begins with it, in this
// order:
// 1. the address from KnownDevices::SuggestHost;
// 2. the announced addresses, the newest announcement first;
// 3. other addresses where the device was reached before;
// 4. the addresses to avoid (Sightings::IsAvoided).
// linkTypes: only routes of these link types, in their order; empty: of all types.
std::vector<Route> RoutesTo(const ReactorContext& context, const std::string& networkId,
                            const std::vector<int32_t>& linkTypes = {});

}  // namespace Vexo::SoftBus

// The addresses at which a device is tried, in their order. Any thread. No call blocks.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "platform/softbus/link/dial.h"

namespace Vexo::SoftBus {

// An address where the device was reached before is tried this long after the first announced one, or earlier in its
// turn if it is announced too.
inline constexpr std::chrono::milliseconds ANNOUNCED_AHEAD{300};

// The routes to the device with that network id, or to any device whose network id begins with it: first where
// KnownDevices::SuggestHost says; then the announced addresses, the newest announcement first; then those where the
// device was reached before; last those that Sightings::IsAvoided names. linkTypes: only routes of these types, in
// their order; empty: of all types.
std::vector<Route> RoutesTo(const ReactorContext& context, const std::string& networkId,
                            const std::vector<int32_t>& linkTypes = {});

}  // namespace Vexo::SoftBus

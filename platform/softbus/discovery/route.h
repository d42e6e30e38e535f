// Chooses the addresses at which a dial tries a device, and their order. Any thread. No call blocks.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "platform/softbus/link/dial.h"

namespace Vexo::SoftBus {

// How much earlier the first announced address is tried than an address where the device was reached before. If that
// address is announced too, it may be tried earlier, because the announced addresses are tried in their own order.
inline constexpr std::chrono::milliseconds ANNOUNCED_AHEAD{300};

// Returns the addresses at which to try a device, in this order:
// 1. the address from KnownDevices::SuggestHost;
// 2. the announced addresses, those of the newest announcement first;
// 3. other addresses where the device was reached before;
// 4. the addresses to avoid (Sightings::IsAvoided).
// networkId: a full network id, or the beginning of one: then the addresses of any device whose network id begins with
// it.
// linkTypes: only addresses of these link types are returned, in the order of the types. Empty: addresses of all types.
std::vector<Route> RoutesTo(const ReactorContext& context, const std::string& networkId,
                            const std::vector<int32_t>& linkTypes = {});

}  // namespace Vexo::SoftBus

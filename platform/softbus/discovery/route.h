// Chooses the addresses at which a dial tries a device, and their order. Thread-safe. No call blocks.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "platform/softbus/link/dial.h"

namespace Vexo::SoftBus {

// Announced addresses are tried first. Addresses where the device was reached before follow this long after the first
// announced address. An address that is announced and was also reached before is tried within this time.
inline constexpr std::chrono::milliseconds ANNOUNCED_AHEAD{300};

// Returns the addresses at which to try a device, sorted by Route::after. The times are assigned in this order:
// 1. the address from KnownDevices::SuggestHost;
// 2. the announced addresses, those of the newest announcement first;
// 3. other addresses where the device was reached before; if any address is announced, from ANNOUNCED_AHEAD on;
// 4. addresses at which a handshake failed recently (Sightings::IsAvoided).
// networkId: a full network id, or only the characters of it that a token contains (TokenOwner::idPrefix). In the
// second case the result has announced addresses only.
// linkTypes: the result has only addresses of these link types, in each group in the order of linkTypes. Empty: all.
std::vector<Route> RoutesTo(const ReactorContext& context, const std::string& networkId,
                            const std::vector<int32_t>& linkTypes = {});

}  // namespace Vexo::SoftBus

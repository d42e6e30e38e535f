// Where a device is tried, and in which order. Any thread; nothing blocks.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "platform/softbus/link/dial.h"

namespace Vexo::SoftBus {

// An address where the device was reached before is tried this long after the first announced one, or earlier in its
// turn if it is announced too.
inline constexpr std::chrono::milliseconds ANNOUNCED_AHEAD{300};

// The ways to that device, or to any whose network id begins so: first where it announces itself, the newest
// announcement first, then where it was reached before; last the addresses that Sightings::IsLeftAlone names.
// linkTypes: the ways of these only, in their order; empty: all.
std::vector<Way> WaysTo(const ReactorContext& context, const std::string& networkId,
                        const std::vector<int32_t>& linkTypes = {});

}  // namespace Vexo::SoftBus

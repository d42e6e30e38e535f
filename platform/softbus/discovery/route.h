// Where a device is tried, and in which order. Any thread; nothing blocks.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "platform/softbus/link/dial.h"

namespace Vexo::SoftBus {

// How long those where the device announces itself are ahead of those where it was reached before.
inline constexpr std::chrono::milliseconds ANNOUNCED_AHEAD{300};

// The ways to that device, or to any whose network id begins so: first where it announces itself, then where it was
// reached before, and those that are left alone last. linkTypes: the ways of these only, in their order; empty: all.
std::vector<Way> WaysTo(const ReactorContext& context, const std::string& networkId,
                        const std::vector<int32_t>& linkTypes = {});

}  // namespace Vexo::SoftBus

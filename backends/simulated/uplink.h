// What a simulated device can share, by its state file. Pure functions; any thread.
#pragma once

#include "backends/simulated/device_state.h"
#include "platform/network/network_monitor.h"

namespace Vexo::Simulated {

// isJoined: this device has joined a hotspot, for which it left the user's own Wi-Fi.
bool IsOnOwnWifi(const DeviceState& state, bool isJoined);
Network::Uplink UplinkOf(const DeviceState& state, bool isJoined);

}  // namespace Vexo::Simulated

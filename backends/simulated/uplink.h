// Derives from the state of a simulated device what it can share through its hotspot. Pure functions. Any thread may
// use them.
#pragma once

#include "backends/simulated/device_state.h"
#include "platform/network/network_monitor.h"

namespace Vexo::Simulated {

// Whether the device is connected to the user's own Wi-Fi. isJoined: it has joined a hotspot, and has left the user's
// own Wi-Fi for that.
bool IsOnOwnWifi(const DeviceState& state, bool isJoined);
Network::Uplink UplinkOf(const DeviceState& state, bool isJoined);

}  // namespace Vexo::Simulated

// Computes the uplink that a simulated device can share through its hotspot, from the state of the device. Pure
// functions. Any thread may use them.
#pragma once

#include "backends/simulated/device_state.h"
#include "platform/network/network_monitor.h"

namespace Vexo::Simulated {

// Whether the device is connected to the user's own Wi-Fi. isJoined: whether the device has joined a hotspot. A device
// leaves the user's own Wi-Fi to join a hotspot.
bool IsOnOwnWifi(const DeviceState& state, bool isJoined);
Network::Uplink UplinkOf(const DeviceState& state, bool isJoined);

}  // namespace Vexo::Simulated

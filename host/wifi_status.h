// Reads the status of this device's Wi-Fi, for the daemon's answers, from the Wi-Fi ability that is registered now. Any
// thread may call the functions, which keep no state.
#pragma once

#include <chrono>
#include <functional>

#include "interfaces/host_answers.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Host {

WifiStatus WifiStatusOf(const Wifi::WifiLinkInfo& info, RadioState radio);
// Returns the current status. If no Wi-Fi ability is registered, the member `present` of the status is false, and the
// callback `radio` is not called. Does not block.
WifiStatus CurrentWifiStatus(const std::function<RadioState()>& radio);
// Blocks until the status differs from the status that the caller knows (a newer join or another state), or until the
// time limit has passed. Returns at once if there is no Wi-Fi ability.
WifiStatus WaitForWifiStatus(const WifiStatus& known, std::chrono::milliseconds limit,
                             const std::function<RadioState()>& radio);

}  // namespace Vexo::Host

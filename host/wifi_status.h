// Reads the state of this device's Wi-Fi from the Wi-Fi ability that is registered now, as the daemon's answers show
// it. Functions without state; any thread.
#pragma once

#include <chrono>
#include <functional>

#include "interfaces/host_answers.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Host {

WifiStatus WifiStatusOf(const Wifi::WifiLinkInfo& info, RadioState radio);
// Returns present = false without a Wi-Fi ability. Does not block. radio is called only if there is a Wi-Fi ability.
WifiStatus CurrentWifiStatus(const std::function<RadioState()>& radio);
// Blocks until attempt or state differs from known, or until limit has passed. Returns at once without a Wi-Fi ability.
WifiStatus WaitForWifiStatus(const WifiStatus& known, std::chrono::milliseconds limit,
                             const std::function<RadioState()>& radio);

}  // namespace Vexo::Host

// The state of this device's Wi-Fi as the daemon answers it, from the Wi-Fi ability that is registered now. Functions
// without state; any thread.
#pragma once

#include <chrono>
#include <functional>

#include "interfaces/host_answers.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Host {

WifiStatus WifiStatusOf(const Wifi::WifiLinkInfo& info, RadioState radio);
// present is false without a Wi-Fi ability. Does not block. radio is called only if there is one.
WifiStatus CurrentWifiStatus(const std::function<RadioState()>& radio);
// Blocks until attempt or state differ from known, or for the limit. Returns at once without a Wi-Fi ability.
WifiStatus WaitForWifiStatus(const WifiStatus& known, std::chrono::milliseconds limit,
                             const std::function<RadioState()>& radio);

}  // namespace Vexo::Host

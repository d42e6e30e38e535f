// Lists the stations that are connected to a hotspot of this machine. Uses the kernel's Wi-Fi interface nl80211, which
// needs no privilege. The function has no state and blocks for the kernel's answer. Any thread may call it.
// https://wireless.wiki.kernel.org/en/developers/documentation/nl80211
#pragma once

#include <string>
#include <vector>

#include "platform/base/result.h"
#include "platform/wifi/share_control.h"

namespace Vexo::Linux {

// interface: the name of the hotspot's network interface, such as "wlan0". Counters that the driver does not provide
// are 0. The error names the step that failed.
[[nodiscard]] Result<std::vector<Wifi::ShareStation>> ListStations(const std::string& interface);

}  // namespace Vexo::Linux

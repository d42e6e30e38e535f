// Lists the stations that are connected to a hotspot of this machine, through the kernel's Wi-Fi interface nl80211,
// which needs no privilege. A function without state. Blocks for the kernel's answer. Any thread may call it.
// https://wireless.wiki.kernel.org/en/developers/documentation/nl80211
#pragma once

#include <string>
#include <vector>

#include "platform/base/result.h"
#include "platform/wifi/share_control.h"

namespace Vexo::Linux {

// interface: "wlan0". A counter that the driver does not keep is 0. The error names the step that failed.
[[nodiscard]] Result<std::vector<Wifi::ShareStation>> ListStations(const std::string& interface);

}  // namespace Vexo::Linux

// The stations that are connected to a hotspot of this machine, from the kernel's Wi-Fi interface (nl80211), which
// answers any user. Blocks for the kernel's answer. Any thread may call it. No state.
// https://wireless.wiki.kernel.org/en/developers/documentation/nl80211
#pragma once

#include <string>
#include <vector>

#include "platform/base/result.h"
#include "platform/wifi/share_control.h"

namespace Vexo::Linux {

// interface: "wlan0". A counter that the driver does not keep is 0. The error says which step failed: a kernel without
// Wi-Fi, an interface that does not exist.
[[nodiscard]] Result<std::vector<Wifi::ShareStation>> ListStations(const std::string& interface);

}  // namespace Vexo::Linux

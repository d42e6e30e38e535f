// Lists the stations that are connected to a hotspot of this machine. Uses the kernel's Wi-Fi interface nl80211, which
// needs no privilege. The functions have no state, and any thread may call them. ListStations blocks for the kernel's
// answer.
// https://wireless.wiki.kernel.org/en/developers/documentation/nl80211
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/base/result.h"
#include "platform/wifi/share_control.h"

struct nlmsghdr;

namespace Vexo::Linux {

// interface: the name of the hotspot's network interface, such as "wlan0". Counters that the driver does not provide
// are 0. The error names the step that failed.
[[nodiscard]] Result<std::vector<Wifi::ShareStation>> ListStations(const std::string& interface);

// Decodes one message of the kernel's answer. The message must have the number of bytes that its header states. Returns
// nullopt if the message names no station.
std::optional<Wifi::ShareStation> DecodeStation(nlmsghdr* message);

}  // namespace Vexo::Linux

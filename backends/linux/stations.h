// How many stations a hotspot of this machine has, from the kernel's Wi-Fi interface (nl80211), which answers any user.
// Blocks for the kernel's answer. Any thread may call it. No state.
// https://wireless.wiki.kernel.org/en/developers/documentation/nl80211
#pragma once

#include <cstddef>
#include <string>

#include "platform/base/result.h"

namespace Vexo::Linux {

// interface: "wlan0". The error says which step failed: a kernel without Wi-Fi, an interface that does not exist.
[[nodiscard]] Result<size_t> CountStations(const std::string& interface);

}  // namespace Vexo::Linux

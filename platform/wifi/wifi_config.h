// What every backend's radios agree on: which configurations a network can have, and what a hotspot is called and
// protected with by default. Any thread. No call blocks.
#pragma once

#include <cstdint>
#include <string>

#include "platform/wifi/wifi_types.h"

namespace Vexo::Wifi {

// WIFI_OK; WIFI_INVALID_CONFIG for an SSID that is not of 1 to 32 bytes or a key that its key management does not
// allow; WIFI_NOT_SUPPORTED for an unknown key management.
int32_t CheckConfig(const WifiDeviceConfig& config);

// "phone-7f3a": the device's name and the first letters of its network id, of at most 32 bytes. A long name is cut
// between characters, not within one.
std::string MakeHotspotSsid(std::string deviceName, const std::string& networkId);

// A pre-shared key of 80 random bits: 16 of 32 characters that nobody mistakes for one another. Ends the process when
// the kernel gives no random bytes.
std::string GenerateHotspotKey();

}  // namespace Vexo::Wifi

// Rules for the radios of all backends: which configurations are valid, and the default name and key of a hotspot.
// Thread-safe. No call blocks.
#pragma once

#include <cstdint>
#include <string>

#include "platform/wifi/wifi_types.h"

namespace Vexo::Wifi {

// Returns WIFI_OK for a valid configuration. Returns WIFI_INVALID_CONFIG if the SSID does not have 1 to 32 bytes, or if
// the key does not fit the key management. Returns WIFI_NOT_SUPPORTED for an unknown key management.
int32_t CheckConfig(const WifiDeviceConfig& config);

// Returns the name of a hotspot, such as "phone-7f3a". The hotspot's name consists of the device's name and the first 4
// characters of the device's network id, and has at most 32 bytes. A long device name is cut between UTF-8 characters.
std::string MakeHotspotSsid(std::string deviceName, const std::string& networkId);

// Returns a pre-shared key with 80 random bits: 16 characters from a set of 32 that people do not easily confuse. Ends
// the process if the kernel provides no random bytes.
std::string GenerateHotspotKey();

}  // namespace Vexo::Wifi

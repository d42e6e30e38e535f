// Rules for the radios of all backends: which configurations are valid, and the default name and key of a hotspot. Any
// thread. No call blocks.
#pragma once

#include <cstdint>
#include <string>

#include "platform/wifi/wifi_types.h"

namespace Vexo::Wifi {

// Returns WIFI_OK; WIFI_INVALID_CONFIG if the SSID does not have 1 to 32 bytes or the key management does not allow the
// key; WIFI_NOT_SUPPORTED for an unknown key management.
int32_t CheckConfig(const WifiDeviceConfig& config);

// Returns a name such as "phone-7f3a": the device's name and the first 4 characters of its network id, at most 32
// bytes. A long device name is cut between UTF-8 characters.
std::string MakeHotspotSsid(std::string deviceName, const std::string& networkId);

// Returns a pre-shared key with 80 random bits: 16 characters from an alphabet of 32 that are hard to confuse. Ends the
// process if the kernel provides no random bytes.
std::string GenerateHotspotKey();

}  // namespace Vexo::Wifi

// Wi-Fi profiles of NetworkManager: making ours, and reading anybody's. What is made carries a mark in its "user"
// setting, by which it is known again whoever added it last; nobody else's profile has it. No state; any thread;
// nothing blocks. The settings: nm-settings-dbus(5), https://networkmanager.dev/docs/api/1.42/nm-settings-dbus.html
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "backends/linux/network_manager.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Linux {

// How a hotspot that this device makes is secured, and where; empty and 0 leave it to the driver.
struct HotspotSettings {
    Wifi::KeyMgmt security = Wifi::KeyMgmt::WPA2_PSK;  // NONE, WPA2_PSK or SAE
    std::string band;                                  // "bg" (2.4 GHz), "a" (5 GHz)
    uint32_t channel = 0;                              // counts only with a band
};

// A random version-4 UUID. RFC 9562
std::string MakeUuid();

// A hotspot with addresses and a route out for its stations.
SettingsMap MakeHotspotProfile(const std::string& uuid, const Wifi::HotspotConfig& config,
                               const HotspotSettings& settings);

// A station in the network of that access point. config has been checked against it.
SettingsMap MakeStationProfile(const std::string& uuid, const Wifi::WifiDeviceConfig& config,
                               const AccessPoint& accessPoint);

bool IsOurs(const Profile& profile);
bool IsHotspotProfile(const Profile& profile);
std::string UuidOf(const Profile& profile);
// When it was last used, in seconds since 1970; 0: never.
uint64_t LastUseOf(const Profile& profile);

// What the profile's stations need to join it: of a hotspot that takes several kinds of security, one that joins. False
// when a key is needed that the profile does not hold, or a security that no key opens.
bool ReadHotspotConfig(const Profile& profile, Wifi::HotspotConfig& config);

}  // namespace Vexo::Linux

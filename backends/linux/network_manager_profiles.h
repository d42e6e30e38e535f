// Wi-Fi profiles of NetworkManager: makes those of this daemon, and reads anybody's. Those of this daemon carry a mark
// in their "user" setting, which no other profile has. No state. Any thread may use it. No call blocks. The settings:
// nm-settings-dbus(5), https://networkmanager.dev/docs/api/1.42/nm-settings-dbus.html
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "backends/linux/network_manager.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Linux {

// The security, band and channel of a hotspot that this device makes. An empty band or channel 0: the driver chooses.
struct HotspotSettings {
    Wifi::KeyMgmt security = Wifi::KeyMgmt::WPA2_PSK;  // NONE, WPA2_PSK or SAE
    std::string band;                                  // "bg" (2.4 GHz), "a" (5 GHz)
    uint32_t channel = 0;                              // counts only with a band
};

// A random version-4 UUID. RFC 9562
std::string MakeUuid();

// A hotspot that gives its stations addresses and this device's uplink.
SettingsMap MakeHotspotProfile(const std::string& uuid, const Wifi::HotspotConfig& config,
                               const HotspotSettings& settings);

// A station in the network of that access point. The caller has checked config against the access point.
SettingsMap MakeStationProfile(const std::string& uuid, const Wifi::WifiDeviceConfig& config,
                               const AccessPoint& accessPoint);

bool IsOurs(const Profile& profile);
bool IsHotspotProfile(const Profile& profile);
// Whether NetworkManager joins the profile's network by itself, once it is visible.
bool JoinsByItself(const Profile& profile);
std::string SsidOf(const Profile& profile);
// As the user calls it: "office".
std::string NameOf(const Profile& profile);
std::string UuidOf(const Profile& profile);
// When it was last used, in seconds since 1970; 0: never.
uint64_t LastUseOf(const Profile& profile);

// Reads what a station needs to join the profile's hotspot. If the hotspot takes several kinds of security, config gets
// one of them. False when the profile does not hold the key, or when its security needs more than a key.
bool ReadHotspotConfig(const Profile& profile, Wifi::HotspotConfig& config);

}  // namespace Vexo::Linux

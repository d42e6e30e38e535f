// Wi-Fi profiles of NetworkManager: creates the profiles of this daemon and reads those of any program. The profiles of
// this daemon carry a mark in their "user" setting, which no other profile has. Functions without state. Any thread may
// use them. No call blocks. The settings: nm-settings-dbus(5),
// https://networkmanager.dev/docs/api/1.42/nm-settings-dbus.html
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "backends/linux/network_manager.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Linux {

// The security, band and channel of this daemon's own hotspot profile. With an empty band or channel 0, the driver
// chooses.
struct HotspotSettings {
    Wifi::KeyMgmt security = Wifi::KeyMgmt::WPA2_PSK;  // NONE, WPA2_PSK or SAE
    std::string band;                                  // "bg" (2.4 GHz), "a" (5 GHz)
    uint32_t channel = 0;                              // ignored without a band
};

// Returns a random version-4 UUID (RFC 9562).
std::string MakeUuid();

// Returns the settings of a hotspot that gives its stations addresses and shares this device's uplink with them.
SettingsMap MakeHotspotProfile(const std::string& uuid, const Wifi::HotspotConfig& config,
                               const HotspotSettings& settings);

// Returns the settings of a station that joins the network of that access point. The caller must have checked config
// against the access point's security (Wifi::MismatchOf).
SettingsMap MakeStationProfile(const std::string& uuid, const Wifi::WifiDeviceConfig& config,
                               const AccessPoint& accessPoint);

// Whether this daemon created the profile.
bool IsOurs(const Profile& profile);
bool IsHotspotProfile(const Profile& profile);
// Whether NetworkManager joins the profile's network by itself, once it is visible.
bool JoinsByItself(const Profile& profile);
std::string SsidOf(const Profile& profile);
// The profile's name: "office".
std::string NameOf(const Profile& profile);
std::string UuidOf(const Profile& profile);
// When the profile was last used, in seconds since 1970; 0: never.
uint64_t LastUseOf(const Profile& profile);

// Reads what a station needs to join the profile's hotspot. If the hotspot allows several kinds of security, config
// gets one of them. Returns false if the profile has no SSID, lacks the key, or is secured by anything but a shared
// key.
bool ReadHotspotConfig(const Profile& profile, Wifi::HotspotConfig& config);

}  // namespace Vexo::Linux

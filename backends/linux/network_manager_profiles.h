// Creates the Wi-Fi profiles of this program in the format of NetworkManager, and reads Wi-Fi profiles of any program.
// Each profile of this program has a mark in its "user" setting. No other profile has this mark. The functions have no
// state. Any thread may use them, and no call blocks. The settings are described in nm-settings-dbus(5),
// https://networkmanager.dev/docs/api/1.42/nm-settings-dbus.html
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "backends/linux/network_manager.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Linux {

// The security, band and channel of this program's own hotspot profile. If the band is empty, band and channel are
// chosen automatically. If only the channel is 0, the channel is chosen automatically.
struct HotspotSettings {
    Wifi::KeyMgmt security = Wifi::KeyMgmt::WPA2_PSK;  // NONE, WPA2_PSK or SAE
    std::string band;                                  // "bg" (2.4 GHz), "a" (5 GHz) or empty
    uint32_t channel = 0;                              // ignored if the band is empty
};

// Returns a random version-4 UUID (RFC 9562).
std::string MakeUuid();

// Returns the settings of a hotspot profile. The hotspot gives addresses to its stations and shares this device's
// uplink with them.
SettingsMap MakeHotspotProfile(const std::string& uuid, const Wifi::HotspotConfig& config,
                               const HotspotSettings& settings);

// Returns the settings of a profile that joins the network of the given access point. The caller must have checked with
// Wifi::MismatchOf that the configuration matches the access point's security.
SettingsMap MakeStationProfile(const std::string& uuid, const Wifi::WifiDeviceConfig& config,
                               const AccessPoint& accessPoint);

// Whether this program created the profile.
bool IsOurs(const Profile& profile);
bool IsHotspotProfile(const Profile& profile);
// Whether NetworkManager joins the profile's network automatically when the network is visible.
bool JoinsByItself(const Profile& profile);
std::string SsidOf(const Profile& profile);
// Returns the profile's name, such as "office".
std::string NameOf(const Profile& profile);
std::string UuidOf(const Profile& profile);
// Returns the time of the profile's last use, in seconds since 1970. Returns 0 if it was never used.
uint64_t LastUseOf(const Profile& profile);

// Fills the parameter config with the data that a station needs to join the profile's hotspot. If the hotspot allows
// several kinds of security, config gets one of them. Returns false if the profile has no SSID or lacks a key that it
// needs. Also returns false if the hotspot is neither open nor uses a shared key.
bool ReadHotspotConfig(const Profile& profile, Wifi::HotspotConfig& config);

}  // namespace Vexo::Linux

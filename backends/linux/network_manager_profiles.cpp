#include "backends/linux/network_manager_profiles.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <random>
#include <vector>

namespace Vexo::Linux {
namespace {

using Wifi::KeyMgmt;
using Strings = std::vector<std::string>;
using Data = std::map<std::string, std::string>;

constexpr const char* CONNECTION = "connection";
constexpr const char* WIRELESS = "802-11-wireless";
constexpr const char* SECURITY = "802-11-wireless-security";
constexpr const char* MARK = "distnet.temporary";
constexpr int32_t METERED_YES = 1;          // NM_METERED_YES
constexpr int32_t DHCP_LIMIT_SECONDS = 20;  // NetworkManager's own limit is 45

PropertyMap SettingOf(const Profile& profile, const std::string& name)
{
    const auto found = profile.settings.find(name);
    return found == profile.settings.end() ? PropertyMap() : found->second;
}

SettingsMap MakeProfile(const std::string& uuid, const std::string& id, const std::string& ssid)
{
    return {{CONNECTION,
             {{"id", id},
              {"uuid", uuid},
              {"type", std::string(WIRELESS)},
              {"autoconnect", false},
              {"metered", METERED_YES}}},
            {WIRELESS, {{"ssid", std::vector<uint8_t>(ssid.begin(), ssid.end())}}},
            {"user", {{"data", Data{{MARK, "yes"}}}}}};
}

// The settings name the cipher, because a driver may otherwise choose a cipher that SAE forbids.
PropertyMap MakeHotspotSecurity(const Wifi::HotspotConfig& config, KeyMgmt security)
{
    return {{"key-mgmt", std::string(security == KeyMgmt::SAE ? "sae" : "wpa-psk")},
            {"psk", config.GetPreSharedKey()},
            {"proto", Strings{"rsn"}},
            {"pairwise", Strings{"ccmp"}},
            {"group", Strings{"ccmp"}}};
}

}  // namespace

std::string MakeUuid()
{
    std::random_device random;
    std::array<unsigned, 4> words{random(), random(), random(), random()};
    words[1] = (words[1] & 0xffff0fffU) | 0x4000U;
    words[2] = (words[2] & 0x3fffffffU) | 0x80000000U;
    std::array<char, 37> text{};
    std::snprintf(text.data(), text.size(), "%08x-%04x-%04x-%04x-%04x%08x", words[0], words[1] >> 16U,
                  words[1] & 0xffffU, words[2] >> 16U, words[2] & 0xffffU, words[3]);
    return text.data();
}

SettingsMap MakeHotspotProfile(const std::string& uuid, const Wifi::HotspotConfig& config,
                               const HotspotSettings& settings)
{
    SettingsMap profile = MakeProfile(uuid, "DistNet hotspot", config.GetSsid());
    profile[WIRELESS]["mode"] = std::string("ap");
    if (!settings.band.empty()) {
        profile[WIRELESS]["band"] = settings.band;
        if (settings.channel != 0) {
            profile[WIRELESS]["channel"] = settings.channel;
        }
    }
    if (settings.security != KeyMgmt::NONE) {
        profile[SECURITY] = MakeHotspotSecurity(config, settings.security);
    }
    profile["ipv4"]["method"] = std::string("shared");
    profile["ipv6"]["method"] = std::string("ignore");
    return profile;
}

SettingsMap MakeStationProfile(const std::string& uuid, const Wifi::WifiDeviceConfig& config,
                               const AccessPoint& accessPoint)
{
    SettingsMap profile = MakeProfile(uuid, "DistNet network", config.ssid);
    profile[WIRELESS]["mode"] = std::string("infrastructure");
    if (accessPoint.security.needsKey) {
        // If the beacon offers both WPA2 and WPA3, "wpa-psk" lets the supplicant use WPA3 if the driver supports WPA3,
        // and WPA2 otherwise.
        profile[SECURITY] = {{"key-mgmt", std::string(accessPoint.security.allowsPsk ? "wpa-psk" : "sae")},
                             {"psk", config.preSharedKey}};
    }
    profile["ipv4"] = {{"method", std::string("auto")}, {"may-fail", false}, {"dhcp-timeout", DHCP_LIMIT_SECONDS}};
    profile["ipv6"]["method"] = std::string("auto");
    return profile;
}

bool IsOurs(const Profile& profile)
{
    return ValueIn<Data>(SettingOf(profile, "user"), "data").contains(MARK);
}

bool IsHotspotProfile(const Profile& profile)
{
    return ValueIn<std::string>(SettingOf(profile, WIRELESS), "mode") == "ap";
}

bool JoinsByItself(const Profile& profile)
{
    const PropertyMap connection = SettingOf(profile, CONNECTION);
    return ValueIn<std::string>(connection, "type") == WIRELESS && !IsOurs(profile) &&
           ValueIn<std::string>(SettingOf(profile, WIRELESS), "mode", "infrastructure") == "infrastructure" &&
           ValueIn<bool>(connection, "autoconnect", true);
}

std::string SsidOf(const Profile& profile)
{
    const auto ssid = ValueIn<std::vector<uint8_t>>(SettingOf(profile, WIRELESS), "ssid");
    return {ssid.begin(), ssid.end()};
}

std::string NameOf(const Profile& profile)
{
    return ValueIn<std::string>(SettingOf(profile, CONNECTION), "id");
}

std::string UuidOf(const Profile& profile)
{
    return ValueIn<std::string>(SettingOf(profile, CONNECTION), "uuid");
}

uint64_t LastUseOf(const Profile& profile)
{
    return ValueIn<uint64_t>(SettingOf(profile, CONNECTION), "timestamp");
}

bool ReadHotspotConfig(const Profile& profile, Wifi::HotspotConfig& config)
{
    const std::string ssid = SsidOf(profile);
    config.SetSsid(ssid);
    config.SetPreSharedKey("");
    config.SetSecurityType(KeyMgmt::NONE);
    if (!profile.settings.contains(SECURITY)) {
        return !ssid.empty();
    }
    const PropertyMap security = SettingOf(profile, SECURITY);
    const auto keyMgmt = ValueIn<std::string>(security, "key-mgmt");
    const auto proto = ValueIn<Strings>(security, "proto");
    config.SetPreSharedKey(ValueIn<std::string>(security, "psk"));
    if (keyMgmt == "sae") {
        config.SetSecurityType(KeyMgmt::SAE);
    } else if (keyMgmt == "wpa-psk") {
        const bool isOldOnly = !proto.empty() && std::find(proto.begin(), proto.end(), "rsn") == proto.end();
        config.SetSecurityType(isOldOnly ? KeyMgmt::WPA_PSK : KeyMgmt::WPA2_PSK);
    } else {
        return false;
    }
    return !ssid.empty() && !config.GetPreSharedKey().empty();
}

}  // namespace Vexo::Linux

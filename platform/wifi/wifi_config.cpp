#include "platform/wifi/wifi_config.h"

#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <string_view>

#include "platform/dfx/log.h"

namespace Vexo::Wifi {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Wifi"};
constexpr size_t MAX_SSID_BYTES = 32;
constexpr size_t SSID_ID_DIGITS = 4;
constexpr size_t MIN_KEY_BYTES = 8;
constexpr size_t MAX_KEY_BYTES = 63;
constexpr size_t GENERATED_KEY_LENGTH = 16;

}  // namespace

int32_t CheckConfig(const WifiDeviceConfig& config)
{
    if (config.ssid.empty() || config.ssid.size() > MAX_SSID_BYTES) {
        return WIFI_INVALID_CONFIG;
    }
    const bool isKey = config.preSharedKey.size() >= MIN_KEY_BYTES && config.preSharedKey.size() <= MAX_KEY_BYTES;
    if (config.keyMgmt == "WPA-PSK") {
        return isKey ? WIFI_OK : WIFI_INVALID_CONFIG;
    }
    if (config.keyMgmt == "NONE") {
        return config.preSharedKey.empty() ? WIFI_OK : WIFI_INVALID_CONFIG;
    }
    if (config.keyMgmt.empty()) {
        return isKey || config.preSharedKey.empty() ? WIFI_OK : WIFI_INVALID_CONFIG;
    }
    return config.keyMgmt == "WPA-EAP" ? WIFI_OK : WIFI_NOT_SUPPORTED;
}

std::string MakeHotspotSsid(std::string deviceName, const std::string& networkId)
{
    const std::string suffix = "-" + networkId.substr(0, SSID_ID_DIGITS);
    size_t length = std::min(deviceName.size(), MAX_SSID_BYTES - suffix.size());
    while (length > 0 && length < deviceName.size() &&
           (static_cast<unsigned char>(deviceName[length]) & 0xC0U) == 0x80U) {
        --length;
    }
    deviceName.resize(length);
    return deviceName + suffix;
}

std::string GenerateHotspotKey()
{
    constexpr std::string_view ALPHABET = "abcdefghijkmnpqrstuvwxyz23456789";
    static_assert(ALPHABET.size() == 32);
    std::array<unsigned char, GENERATED_KEY_LENGTH> bytes{};
    ssize_t filled = -1;
    do {
        filled = ::getrandom(bytes.data(), bytes.size(), 0);
    } while (filled < 0 && errno == EINTR);
    if (filled != static_cast<ssize_t>(bytes.size())) {
        QuviewDFX::LogError(LABEL, "the kernel gives no random bytes for a hotspot key");
        std::abort();
    }
    std::string key;
    for (const unsigned char byte : bytes) {
        key += ALPHABET[byte % ALPHABET.size()];
    }
    return key;
}

}  // namespace Vexo::Wifi

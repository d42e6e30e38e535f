// The types that WifiHotspot and WifiDevice share.
#pragma once

#include <cstdint>
#include <string>

namespace Vexo::Wifi {

// How a network is secured. These numbers are sent to other devices.
enum class KeyMgmt : int32_t {
    NONE = 0,  // no key
    WPA_PSK = 1,
    WPA_EAP = 2,
    IEEE8021X = 3,
    WPA2_PSK = 4,
    OSEN = 5,
    FT_PSK = 6,
    FT_EAP = 7,
    SAE = 8,  // WPA3 personal
};

// Results of Wi-Fi calls; 0 is success.
enum WifiResult : int32_t {
    WIFI_OK = 0,
    WIFI_NO_ANSWER = 1,       // the radio did not answer in time
    WIFI_DISABLED = 2,        // the radio is switched off or blocked
    WIFI_INVALID_CONFIG = 3,  // the SSID does not have 1 to 32 bytes, or the key does not fit keyMgmt
    WIFI_NOT_SUPPORTED = 4,
    WIFI_FAILED = 5,
};

enum class ServiceType : int32_t { DEFAULT = 0 };

// The name, key and security of a hotspot. The pre-shared key never appears in a log line, an event or a trace.
class HotspotConfig {
public:
    const std::string& GetSsid() const { return ssid_; }
    const std::string& GetPreSharedKey() const { return preSharedKey_; }
    KeyMgmt GetSecurityType() const { return securityType_; }
    void SetSsid(std::string ssid) { ssid_ = std::move(ssid); }
    void SetPreSharedKey(std::string key) { preSharedKey_ = std::move(key); }
    void SetSecurityType(KeyMgmt type) { securityType_ = type; }

private:
    std::string ssid_;
    std::string preSharedKey_;
    KeyMgmt securityType_ = KeyMgmt::WPA2_PSK;
};

struct WifiDeviceConfig {
    int networkId = -1;  // set by AddDeviceConfig
    std::string ssid;
    std::string bssid;  // such as "02:00:5e:10:00:01"; empty if unknown
    std::string preSharedKey;
    // "NONE": no key. "WPA-PSK": any security with a pre-shared key, also WPA3. "WPA-EAP": a valid value, but every
    // attempt to join fails. Empty: the security of the visible network.
    std::string keyMgmt;
};

// The state of this device's Wi-Fi connection, for callers that wait for a change.
enum class WifiLinkState : int32_t { IDLE = 0, CONNECTING = 1, CONNECTED = 2, FAILED = 3, DISCONNECTED = 4 };

struct WifiLinkInfo {
    WifiLinkState state = WifiLinkState::IDLE;
    uint32_t attempt = 0;  // number of ConnectToDevice calls that were accepted
    std::string ssid;
    std::string address;  // only when connected; such as "192.168.43.17"
    std::string reason;   // only when failed or disconnected; a text such as "wrong key"
    std::string failure;  // only when failed or disconnected; a value of JoinFailure (station.h)
};

}  // namespace Vexo::Wifi

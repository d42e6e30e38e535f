// StationControl: reports which network this device has joined, leaves that network and rejoins the previous network.
// The service's requests use WifiDevice instead (wifi_device.h). Each backend implements StationControl. Thread-safe.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/nocopyable.h"
#include "platform/base/result.h"

namespace Vexo::Wifi {

// The network that this device has joined by ConnectToDevice.
struct JoinedNetwork {
    uint32_t attempt = 0;                  // number of the attempt, as in WifiLinkInfo
    std::string ssid;                      // raw bytes
    std::string security;                  // "open", "WPA2" or "WPA3"; empty if not known
    std::string interface;                 // such as "wlan0"; "simulated" for a simulated radio
    std::string macAddress;                // of this device, as the hotspot sees it; lower case
    std::string address;                   // IPv4 address of this device
    std::string gateway;                   // IPv4 address; empty if there is none
    std::vector<std::string> nameServers;  // IPv4 addresses, from the DHCP lease
};

struct LeftNetwork {
    bool hasLeft = false;  // true if Leave has ended an attempt or a connection
    // The name of the user's network that this device is on after Leave, such as "office". Empty if this device was on
    // no network before the attempt, or if this device could not rejoin that network in time.
    std::string backOn;
};

class StationControl : public NoCopyable {
public:
    virtual ~StationControl() = default;

    // Returns the network that the latest attempt has joined. Returns no value if that attempt is not connected. Waits
    // for the radio's daemon, at most 1 s.
    virtual std::optional<JoinedNetwork> Joined() = 0;
    // Ends the attempt with this number, also if it is connected, removes its configuration and rejoins the user's
    // previous network. Blocks until that network is joined. limit: the longest time to block. If the attempt has ended
    // already or a newer attempt has begun, Leave changes nothing, and backOn names the network that this device is on.
    // Fails if the radio's daemon does not answer; the network is then left later.
    [[nodiscard]] virtual Result<LeftNetwork> Leave(uint32_t attempt, std::chrono::milliseconds limit) = 0;
};

}  // namespace Vexo::Wifi

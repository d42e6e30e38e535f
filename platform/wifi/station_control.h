// StationControl: controls this device's connection to a network, beyond what requests need (wifi_device.h): reports
// which network it has joined, leaves that network and rejoins the previous one. Each backend implements it; any thread
// may use it.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/nocopyable.h"
#include "platform/base/result.h"

namespace Vexo::Wifi {

// A network that this device has joined by ConnectToDevice.
struct JoinedNetwork {
    uint32_t attempt = 0;                  // WifiLinkInfo::attempt
    std::string ssid;                      // raw bytes
    std::string security;                  // "open", "WPA2", "WPA3"; empty: not known
    std::string interface;                 // "wlan0"; "simulated" for a simulated radio
    std::string macAddress;                // of this device, as the hotspot sees it; lower case
    std::string address;                   // IPv4, of this device
    std::string gateway;                   // IPv4; empty: none
    std::vector<std::string> nameServers;  // of the lease
};

struct LeftNetwork {
    bool hasLeft = false;  // an attempt or a connection of this daemon was ended
    // The name of the user's network that this device is on again ("office"). Empty if there was none before, or if it
    // was not joined again within the limit.
    std::string backOn;
};

class StationControl : public NoCopyable {
public:
    virtual ~StationControl() = default;

    // Returns the network that the latest attempt has joined; no value if it is not connected. Blocks on the radio's
    // daemon, at most 1 s.
    virtual std::optional<JoinedNetwork> Joined() = 0;
    // Ends the attempt or the connection with that number, removes its configuration and rejoins the user's previous
    // network. Does nothing if a newer attempt has begun or this one has ended; backOn is then the network that this
    // device is on. Blocks until the network is joined, at most for limit. Fails if the radio's daemon does not answer;
    // what was begun is then undone later.
    [[nodiscard]] virtual Result<LeftNetwork> Leave(uint32_t attempt, std::chrono::milliseconds limit) = 0;
};

}  // namespace Vexo::Wifi

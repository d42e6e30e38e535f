// StationControl: this device as a station, beyond what requests need (wifi_device.h): which network it has joined, and
// how it leaves the network and goes back to the one before. Each backend implements it; any thread may use it.
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
    std::string macAddress;                // that the hotspot sees, lower case
    std::string address;                   // IPv4, of this device
    std::string gateway;                   // IPv4; empty: none
    std::vector<std::string> nameServers;  // of the lease
};

struct LeftNetwork {
    bool hasLeft = false;  // an attempt or a connection of this daemon was ended
    // The user's network that this device is on again, as the user calls it ("office"); empty if there was none before,
    // or if it was not joined again within the limit.
    std::string backOn;
};

class StationControl : public NoCopyable {
public:
    virtual ~StationControl() = default;

    // The network that the latest attempt has joined; no value while it is not connected. Blocks for the radio's
    // daemon, at most 1 s.
    virtual std::optional<JoinedNetwork> Joined() = 0;
    // Ends the attempt or the connection with that number, removes its configuration and joins the user's network from
    // before again. Does nothing if a newer attempt has begun or this one has ended; backOn then names the network that
    // this device is on. Blocks until the network is joined again, at most for limit. The error: the radio's daemon did
    // not answer; what was begun is then taken back later.
    [[nodiscard]] virtual Result<LeftNetwork> Leave(uint32_t attempt, std::chrono::milliseconds limit) = 0;
};

}  // namespace Vexo::Wifi

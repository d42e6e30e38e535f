// NetworkMonitor: reports the state of this device's networks. It reports whether the user has a network without this
// daemon, what this device can share with other devices, and whether a joined network leads to the internet. Each
// backend implements it. Thread-safe.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/clock.h"
#include "platform/base/nocopyable.h"
#include "platform/wifi/station_control.h"

namespace Vexo::Network {

// What this device could share through its hotspot.
struct Uplink {
    enum class Kind : uint8_t { NONE, MOBILE, WIRE, WIFI };
    Kind kind = Kind::NONE;
    std::string technology;                // for MOBILE: "2G" to "5G"; otherwise empty
    std::optional<uint8_t> signalPercent;  // only for MOBILE and WIFI
    std::optional<bool> isMetered;
    std::optional<bool> hasInternet;  // result of the machine's connectivity check; no value if not checked
    bool isMobileDataOff = false;     // a modem has a SIM, but mobile data is switched off
};

struct Battery {
    std::optional<uint8_t> percent;  // no value if there is no battery or the charge is not known
    bool isCharging = false;
};

// What decides whether this device needs the network of another device.
struct NetworkSituation {
    bool hasNetwork = false;             // there is a connection with a default route
    bool isJoinedHere = false;           // that connection is a network that this daemon joined (ConnectToDevice)
    bool hasOwnWire = false;             // a wired connection with connectivity
    bool isSessionActive = false;        // a person uses this device: the first seat has an active session
    bool wasDisconnectedByUser = false;  // a person disconnected the network that this daemon had joined last
    struct SavedNetwork {
        std::string name;
        uint8_t strengthPercent = 0;
    };
    uint32_t scan = 0;                    // number of the latest finished scan, which found inReach
    std::vector<SavedNetwork> inReach{};  // the user's saved networks that the scan found, the strongest first
};

enum class OnlineVerdict : uint8_t {
    ONLINE,
    NO_INTERNET,  // the network does not lead to the internet
    UNKNOWN,      // the check could not be made
};

class NetworkMonitor : public NoCopyable {
public:
    virtual ~NetworkMonitor() = default;

    // CurrentUplink, CurrentBattery and Situation ask daemons of this machine and block at most 1 s each. A value that
    // a daemon does not report in time counts as not known.
    virtual Uplink CurrentUplink() = 0;
    virtual Battery CurrentBattery() = 0;
    virtual NetworkSituation Situation() = 0;
    // Starts a scan for networks. When the scan has finished, NetworkSituation::scan changes. Does not block.
    virtual void RequestScan() = 0;
    // Checks whether the joined network leads to the internet. Uses NetworkManager's connectivity check if that is
    // configured. If this check is not configured or gives no result, asks the network's own name servers for the name
    // servers of the DNS root, through the network's interface only (dns_probe.h). Blocks until there is a result, the
    // deadline has passed or isCancelled returns true. Calls isCancelled at least every 100 ms.
    virtual OnlineVerdict CheckOnline(const Wifi::JoinedNetwork& network, SteadyTime deadline,
                                      const std::function<bool()>& isCancelled) = 0;
    // Sets the function that is called when the network situation may have changed. The backend calls the function on a
    // thread of its own. The function must not block. Set a function at most once. An empty function ends the calls:
    // SetListener then returns when no call runs any more.
    virtual void SetListener(std::function<void()> changed) = 0;
};

}  // namespace Vexo::Network

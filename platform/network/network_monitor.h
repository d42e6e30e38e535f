// NetworkMonitor: what this device knows about its networks: whether it has one of the user's own, what it can share
// with others, and whether a network that it joined leads to the internet. Each backend implements it; any thread may
// use it.
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
    std::string technology;                // of MOBILE: "2G" to "5G"; else empty
    std::optional<uint8_t> signalPercent;  // of MOBILE and WIFI
    std::optional<bool> isMetered;
    std::optional<bool> hasInternet;  // by the machine's connectivity check; no value: not checked
    bool isMobileDataOff = false;     // there is a modem with a SIM, and its mobile data is switched off
};

struct Battery {
    std::optional<uint8_t> percent;  // no value: no battery, or not known
    bool isCharging = false;
};

// Decides when this device needs a network and when it has one of the user's own again.
struct NetworkSituation {
    bool hasNetwork = false;       // any connection with a default route
    bool isJoinedHere = false;     // that connection is a network that this daemon joined (ConnectToDevice)
    bool hasOwnWire = false;       // a wire with connectivity
    bool isSessionActive = false;  // somebody uses this device: the first seat's active session
    bool wasLeftByHand = false;    // a person disconnected the network that this daemon had joined last
    struct SavedNetwork {
        std::string name;
        uint8_t strengthPercent = 0;
    };
    uint32_t scan = 0;                    // number of the scan that the list is of; changes with each finished scan
    std::vector<SavedNetwork> inReach{};  // the user's saved networks that the scan saw, the strongest first
};

enum class OnlineVerdict : uint8_t {
    ONLINE,
    NO_INTERNET,  // the network was asked, and leads nowhere
    UNKNOWN,      // the check could not be made
};

class NetworkMonitor : public NoCopyable {
public:
    virtual ~NetworkMonitor() = default;

    // Each blocks for the machine's daemons, at most 1 s; what they do not answer counts as not known.
    virtual Uplink CurrentUplink() = 0;
    virtual Battery CurrentBattery() = 0;
    virtual NetworkSituation Situation() = 0;
    // Asks for a scan; its end changes NetworkSituation::scan. Does not block.
    virtual void RequestScan() = 0;
    // Whether the joined network leads to the internet: by NetworkManager's connectivity check where it is configured,
    // else by a query for the root's name servers (dns_probe.h) at the name servers of the lease, on that interface
    // only. Tried until there is an answer or the deadline has passed; isCancelled is read at least every 100 ms.
    virtual OnlineVerdict CheckOnline(const Wifi::JoinedNetwork& network, SteadyTime deadline,
                                      const std::function<bool()>& isCancelled) = 0;
    // changed is called when the situation may have changed, on a thread of the backend; it must not block. Call at
    // most once; an empty function ends it, and returns when no call runs any more.
    virtual void SetListener(std::function<void()> changed) = 0;
};

}  // namespace Vexo::Network

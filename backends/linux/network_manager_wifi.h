// NetworkManagerWifi: the station and the hotspot of this machine. It subscribes to NetworkManager's signals for both,
// and reports for each of their abilities whether the machine has it now; the owner registers the abilities. Each time
// NetworkManager starts, changes that an earlier run left there are undone first. LinuxDevice creates one; any thread
// may use it.
#pragma once

#include <memory>
#include <vector>

#include "backends/linux/presence.h"
#include "backends/linux/wifi_context.h"
#include "backends/linux/wifi_device.h"
#include "backends/linux/wifi_hotspot.h"
#include "platform/base/nocopyable.h"

namespace Vexo::Linux {

struct WifiOptions {
    HotspotOptions hotspot;  // network-changes.json is in its stateDir too
    StationOptions station;
    std::chrono::milliseconds answerLimit = NETWORK_MANAGER_LIMIT;  // of one call to NetworkManager
};

// Callbacks, called on the Wi-Fi strand.
struct WifiListener {
    PresenceChanged stationChanged;  // ability 1120
    PresenceChanged hotspotChanged;  // ability 1121
    // Called with the outcome of each attempt and at the end of each connection of the station, for connectivity
    // events. Only this callback reports attempts whose network is not visible: NetworkManager does not know of them.
    LinkEnded linkEnded;
};

class NetworkManagerWifi : public NoCopyable {
public:
    NetworkManagerWifi(const std::shared_ptr<Bus>& bus, const WifiOptions& options, WifiListener listener);
    // Calls Stop.
    ~NetworkManagerWifi();

    const sptr<LinuxWifiDevice>& Station() const { return station_; }
    const sptr<LinuxWifiHotspot>& Hotspot() const { return hotspot_; }

    // Closes the hotspot if this daemon opened it. Does not block.
    void OnBatteryLow();
    // Undoes this daemon's changes in NetworkManager. No callback runs afterwards. Blocks until that is done, at most
    // WIFI_CALL_LIMIT each for station and hotspot. A second call does nothing.
    void Stop();

private:
    // The following functions run on the Wi-Fi strand only.
    void OnServiceOwnerChanged(bool hasOwner);
    void OnChanged();
    void ReportPresence();

    const WifiListener listener_;
    const std::shared_ptr<WifiContext> context_;
    const sptr<LinuxWifiDevice> station_;
    const sptr<LinuxWifiHotspot> hotspot_;

    // The following members are used on the Wi-Fi strand only.
    std::optional<Presence> reportedStation_;
    std::optional<Presence> reportedHotspot_;

    std::vector<BusSubscription> subscriptions_;  // last: destroyed first
};

}  // namespace Vexo::Linux

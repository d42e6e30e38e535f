// NetworkManagerWifi: this machine's Wi-Fi: its station and its hotspot, which follow NetworkManager's starts, changes
// and ends. It reports for each ability whether the machine has it now; its owner registers the abilities. When
// NetworkManager starts, what an earlier run left there is taken back first. The host makes one, through the Linux
// device; any thread may use it.
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
    HotspotOptions hotspot;  // its state folder also keeps the record of changes
    StationOptions station;
    std::chrono::milliseconds answerLimit = NETWORK_MANAGER_LIMIT;  // for one answer of NetworkManager
};

// Callbacks, called on the Wi-Fi strand.
struct WifiListener {
    PresenceChanged stationChanged;  // ability 1120
    PresenceChanged hotspotChanged;  // ability 1121
    // How attempts and connections of the station end, for connectivity events. Attempts whose network is not visible
    // are reported here only: NetworkManager does not know of them.
    LinkEnded linkEnded;
};

class NetworkManagerWifi : public NoCopyable {
public:
    NetworkManagerWifi(const std::shared_ptr<Bus>& bus, const WifiOptions& options, WifiListener listener);
    // Stops.
    ~NetworkManagerWifi();

    const sptr<LinuxWifiDevice>& Station() const { return station_; }
    const sptr<LinuxWifiHotspot>& Hotspot() const { return hotspot_; }

    // Closes the hotspot if this daemon opened it. Does not block.
    void OnBatteryLow();
    // Takes back what was changed in NetworkManager; no callback runs afterwards. Blocks until that is done; a second
    // call does nothing.
    void Stop();

private:
    // These run on the Wi-Fi strand only.
    void OnService(bool isThere);
    void OnChanged();
    void TellPresence();

    const WifiListener listener_;
    const std::shared_ptr<WifiContext> context_;
    const sptr<LinuxWifiDevice> station_;
    const sptr<LinuxWifiHotspot> hotspot_;

    // Touched on the Wi-Fi strand only.
    std::optional<Presence> toldStation_;
    std::optional<Presence> toldHotspot_;

    std::vector<BusSubscription> subscriptions_;  // end first
};

}  // namespace Vexo::Linux

// NetworkManagerWifi: the station and the hotspot of this machine. It subscribes to NetworkManager's signals for both.
// It reports whether the machine can be a station and a hotspot now. LinuxDevice creates one object, and registers the
// station and the hotspot as abilities (service objects). Each time NetworkManager starts, this class first undoes the
// changes that this run and earlier runs of this program left in NetworkManager. Any thread may use it.
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
    HotspotOptions hotspot;  // network-changes.json is also in hotspot.stateDir
    StationOptions station;
    std::chrono::milliseconds answerLimit = NETWORK_MANAGER_LIMIT;  // the limit of one call to NetworkManager
};

// The callbacks of NetworkManagerWifi. They are called on the Wi-Fi strand (wifi_context.h).
struct WifiListener {
    PresenceChanged stationChanged;  // ability 1120
    PresenceChanged hotspotChanged;  // ability 1121
    // Called with the outcome of each attempt to connect, and when a connection of the station ends. LinuxDevice needs
    // this callback for connectivity events, because NetworkManager's signals do not report an attempt whose network is
    // not visible.
    LinkEnded linkEnded;
};

class NetworkManagerWifi : public NoCopyable {
public:
    NetworkManagerWifi(const std::shared_ptr<Bus>& bus, const WifiOptions& options, WifiListener listener);
    // Calls Stop.
    ~NetworkManagerWifi();

    const sptr<LinuxWifiDevice>& Station() const { return station_; }
    const sptr<LinuxWifiHotspot>& Hotspot() const { return hotspot_; }

    // Closes the hotspot if this program opened it. Does not block.
    void OnBatteryLow();
    // Blocks until no signal handler runs. Then undoes this program's changes in NetworkManager, which blocks at most
    // WIFI_CALL_LIMIT for the station and WIFI_CALL_LIMIT for the hotspot. No callback runs afterwards. A second call
    // does nothing.
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

    std::vector<BusSubscription> subscriptions_;  // declared last, so destroyed first
};

}  // namespace Vexo::Linux

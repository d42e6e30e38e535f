// LinuxWifiDevice: this machine's station (ability 1120) over NetworkManager. An attempt scans until its network is
// visible and reads the security from the beacon. Then NetworkManager joins the network with a temporary profile.
// Temporary failures are retried until StationOptions::searchLimit. An attempt succeeds when the station has an
// address. It fails if the network is not visible, has other security, rejects the key, or gives no address. When the
// connection ends, the profile is deleted, and the network that the radio had before is activated again. The end of
// each attempt and of each connection is reported once. If a newer attempt replaces an attempt, the replaced attempt is
// not reported. The class also implements StationControl. Any thread may call it. The work runs on the Wi-Fi strand
// (wifi_context.h).
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "backends/linux/network_manager_profiles.h"
#include "backends/linux/wifi_context.h"
#include "platform/base/mutex.h"
#include "platform/ipc/iremote_object.h"
#include "platform/tasks/timers.h"
#include "platform/wifi/station.h"
#include "platform/wifi/station_control.h"
#include "platform/wifi/wifi_device.h"

namespace Vexo::Linux {

struct StationOptions {
    // How long an attempt may search for its hotspot and try again to join it.
    std::chrono::milliseconds searchLimit{std::chrono::seconds(30)};
    // How long one join may take, if NetworkManager's own limits do not end it earlier.
    std::chrono::milliseconds joinLimit{std::chrono::seconds(90)};
    // How often an attempt checks its network while NetworkManager sends no signal.
    std::chrono::milliseconds checkPeriod{std::chrono::seconds(2)};
};

// The callback that gets the result of each attempt (CONNECTED or FAILED) and the end of each connection
// (DISCONNECTED). It is called on the Wi-Fi strand.
using LinkEnded = std::function<void(Wifi::WifiLinkState state)>;

class LinuxWifiDevice : public IPCObjectStub, public Wifi::WifiDevice, public Wifi::StationControl {
public:
    // Stop() must be called before the last reference is released.
    LinuxWifiDevice(std::shared_ptr<WifiContext> context, const StationOptions& options, LinkEnded ended);
    ~LinuxWifiDevice() override;

    // Returns the configurations that AddDeviceConfig has stored. The profiles that the user has stored in
    // NetworkManager are not included.
    int32_t GetDeviceConfigs(std::vector<Wifi::WifiDeviceConfig>& configs, bool isCandidate) override;
    int32_t AddDeviceConfig(const Wifi::WifiDeviceConfig& config, int& networkId, bool isCandidate) override;
    // If the SSID is empty, uses the stored configuration with the number config.networkId. Returns WIFI_DISABLED while
    // Wi-Fi is switched off, WIFI_NOT_SUPPORTED if there is no radio, and WIFI_FAILED while the only radio is a
    // hotspot.
    int32_t ConnectToDevice(const Wifi::WifiDeviceConfig& config) override;

    Wifi::WifiLinkInfo GetLinkInfo() override { return station_.LinkInfo(); }
    // Returns at once after Stop().
    Wifi::WifiLinkInfo WaitForChange(const Wifi::WifiLinkInfo& known, std::chrono::milliseconds limit) override
    {
        return station_.WaitForChange(known, limit);
    }

    std::optional<Wifi::JoinedNetwork> Joined() override;
    [[nodiscard]] Result<Wifi::LeftNetwork> Leave(uint32_t attempt, std::chrono::milliseconds limit) override;
    // Whether a person ended the latest attempt or connection.
    bool WasDisconnectedByUser() const { return wasDisconnectedByUser_; }

    // The next three functions must be called on the strand. OnChanged: something about the radios has changed.
    // OnRadioState: a radio has entered the given state. OnNetworkManagerStopped: NetworkManager has left the bus.
    void OnChanged() { CheckNetwork(); }
    void OnRadioState(const std::string& radio, uint32_t state, NmReason reason);
    void OnNetworkManagerStopped();
    // Ends the attempt, the connection and all calls of WaitForChange, and reports nothing. Undoes the changes that the
    // attempt made in NetworkManager. Blocks until NetworkManager has replied, at most WIFI_CALL_LIMIT.
    void Stop();

private:
    // The data of the current attempt that Wifi::Station does not store.
    struct Attempt {
        std::string radio;
        std::string interface;
        SteadyTime nextScan;              // the earliest time of the next scan
        std::chrono::seconds begunAt{0};  // time on the boot clock, like AccessPoint::lastSeen
        bool hasTakenRadio = false;       // a join was requested, so change.previous is restored at the end
        bool isJoinUndone = true;         // false: NetworkManager did not answer, and the join is undone later
        int refusals = 0;
        NetworkChange change;
        std::string bssid;
        Wifi::NetworkSecurity security;
        NmReason reason = NmReason::NONE;  // why the radio failed or disconnected last
        SteadyTime joiningSince;
    };

    struct Connected {
        std::string radio;
        Wifi::JoinedNetwork network;  // not complete: Joined() reads the rest from NetworkManager
    };

    // The result of releasing the radio at the end of an attempt.
    struct Freed {
        bool isDone = true;      // false: NetworkManager did not answer, and the join is undone later
        std::string activation;  // path of the activation that restores the previous network; empty: none
    };
    struct Departure {
        bool hasLeft = false;
        Freed freed;
    };

    // Why CheckNetwork is called.
    enum class Trigger {
        CHANGE_OR_TIMER,
        REASON_DELAY_OVER,  // no signal has arrived that gives the reason for the disconnection
    };

    // The following functions run on the strand only.
    int32_t Begin(const Wifi::WifiDeviceConfig& config, WifiContext::Deadline deadline);
    void CheckNetwork(Trigger trigger = Trigger::CHANGE_OR_TIMER);
    void Search(const Wifi::Station::Join& join);
    bool HasLostRadio() const;
    // Requests a scan, unless the last request is too recent.
    void Scan();
    void Join(const Wifi::Station::Join& join, const AccessPoint& accessPoint);
    void Follow(const Wifi::Station::Join& join, Trigger trigger);
    void OnActivated(const Wifi::Station::Join& join);
    void OnDeactivated(const Wifi::Station::Join& join);
    bool IsJoinOverdue() const;
    // Whether an access point with the given SSID was seen since the join began. NetworkManager reports the same reason
    // if WPA3 rejects the key and if the hotspot is not visible. This function distinguishes the two cases.
    bool WasHeardWhileJoining(const std::string& ssid) const;
    void SearchAgain();
    void CheckAgainIn(std::chrono::milliseconds delay, Trigger trigger = Trigger::CHANGE_OR_TIMER);
    Freed End(const Wifi::LinkEnd& end);
    Departure LeaveNow(uint32_t attempt);
    // Ends the activation that was left by a failed join of the attempt, or by the attempt that was replaced. Does
    // nothing if the attempt is no longer in the state SEARCHING.
    void LeaveJoined();

    // Returns the name of the given activation's profile. Returns an empty text if this program created the profile, or
    // if the profile is unknown.
    std::string UsersNetwork(const std::string& activation, SteadyTime deadline) const;

    const std::shared_ptr<WifiContext> context_;
    const StationOptions options_;
    const LinkEnded ended_;

    std::optional<Attempt> attempt_;  // while an attempt is under way; used on the strand only
    Tasks::Timer timer_;              // used on the strand only
    uint32_t timersSet_ = 0;          // the number of the latest timer; used on the strand only

    std::atomic<bool> wasDisconnectedByUser_{false};

    mutable Mutex mutex_;
    std::optional<Connected> connected_ GUARDED_BY(mutex_);  // valid while the attempt is CONNECTED

    Wifi::Station station_;  // own synchronisation
};

}  // namespace Vexo::Linux

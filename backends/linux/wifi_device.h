// LinuxWifiDevice: this machine's station (ability 1120) over NetworkManager. An attempt scans until its network is
// visible, reads the security from the beacon, and makes NetworkManager join with a temporary profile. Temporary
// failures are retried until the search limit. An attempt ends connected with an address, or failed: network not
// visible, other security, wrong key, no address. When the connection ends, the profile is deleted and the network that
// the radio had before is activated again. Each end of an attempt and of a connection is reported once; an attempt that
// a newer one replaced ends silently. The class also implements StationControl. Any thread may call it; the work runs
// on the Wi-Fi strand (wifi_context.h).
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
    // How long an attempt may search for its hotspot and begin new joins.
    std::chrono::milliseconds searchLimit{std::chrono::seconds(30)};
    // How long one join may take, if NetworkManager's own limits do not end it earlier.
    std::chrono::milliseconds joinLimit{std::chrono::seconds(90)};
    // How often an attempt checks its network while no signal arrives.
    std::chrono::milliseconds lookAgain{std::chrono::seconds(2)};
};

// Called on the Wi-Fi strand, with CONNECTED, FAILED or DISCONNECTED.
using LinkEnded = std::function<void(Wifi::WifiLinkState state)>;

class LinuxWifiDevice : public IPCObjectStub, public Wifi::WifiDevice, public Wifi::StationControl {
public:
    // Stop() must be called before the last reference is released.
    LinuxWifiDevice(std::shared_ptr<WifiContext> context, const StationOptions& options, LinkEnded ended);
    ~LinuxWifiDevice() override;

    // Returns the configurations that AddDeviceConfig has stored, without the user's own profiles.
    int32_t GetDeviceConfigs(std::vector<Wifi::WifiDeviceConfig>& configs, bool isCandidate) override;
    int32_t AddDeviceConfig(const Wifi::WifiDeviceConfig& config, int& networkId, bool isCandidate) override;
    // If the SSID is empty, uses the stored configuration config.networkId. Returns WIFI_DISABLED while Wi-Fi is
    // switched off, WIFI_NOT_SUPPORTED without a radio, and WIFI_FAILED while the only radio is a hotspot.
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
    bool WasLeftByHand() const { return wasLeftByHand_; }

    // These three are called on the strand. OnChanged: something about the radios has changed. OnRadioState: a radio
    // has entered that state. OnNetworkManagerStopped: NetworkManager has left the bus.
    void OnChanged() { CheckNetwork(); }
    void OnRadioState(const std::string& radio, uint32_t state, NmReason reason);
    void OnNetworkManagerStopped();
    // Ends the attempt, the connection and waiting calls without a report, and undoes all changes. Blocks until that is
    // done, at most WIFI_CALL_LIMIT.
    void Stop();

private:
    // What this class knows of the current attempt beyond Wifi::Station.
    struct Attempt {
        std::string radio;
        std::string interface;
        SteadyTime nextScan;              // the earliest time
        std::chrono::seconds begunAt{0};  // on the boot clock, as AccessPoint::lastSeen
        bool hasTakenRadio = false;       // a join was requested: change.previous is restored at the end
        bool isLeft = true;               // false if NetworkManager did not answer: the join is undone later
        int refusals = 0;
        NetworkChange change;
        std::string bssid;
        Wifi::NetworkSecurity security;
        NmReason reason = NmReason::NONE;  // why the radio failed or disconnected last
        SteadyTime joiningSince;
    };

    struct Connected {
        std::string radio;
        Wifi::JoinedNetwork network;  // Joined() reads the other members from NetworkManager
    };

    // The result of releasing the radio at the end of an attempt.
    struct Freed {
        bool isDone = true;      // false if NetworkManager did not answer: the join is undone later
        std::string activation;  // of the previous network, which is activated again; empty: none
    };
    struct Departure {
        bool hasLeft = false;
        Freed freed;
    };

    // Why the station checks its radio.
    enum class Trigger {
        CHANGE_OR_TIMER,
        REASON_DELAY_OVER,  // no signal with the reason of the disconnection has arrived
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
    // Whether an access point with that SSID was seen since the join began. NetworkManager reports the same reason for
    // a key that WPA3 rejects and for a hotspot that is not visible.
    bool WasHeardWhileJoining(const std::string& ssid) const;
    void SearchAgain();
    void CheckAgainIn(std::chrono::milliseconds delay, Trigger trigger = Trigger::CHANGE_OR_TIMER);
    Freed End(const Wifi::LinkEnd& end);
    Departure LeaveNow(uint32_t attempt);
    // Undoes a join that is no longer wanted, of this attempt or of the attempt that it replaced.
    void LeaveJoined();

    // Returns the name of that activation's profile; empty if the profile is ours or unknown.
    std::string UsersNetwork(const std::string& activation, SteadyTime deadline) const;

    const std::shared_ptr<WifiContext> context_;
    const StationOptions options_;
    const LinkEnded ended_;

    std::optional<Attempt> attempt_;  // while an attempt is under way; used on the strand only
    Tasks::Timer timer_;              // used on the strand only
    uint32_t timersSet_ = 0;          // used on the strand only; the number of the latest timer

    std::atomic<bool> wasLeftByHand_{false};

    mutable Mutex mutex_;
    std::optional<Connected> connected_ GUARDED_BY(mutex_);  // valid while the attempt is CONNECTED

    Wifi::Station station_;  // own synchronisation
};

}  // namespace Vexo::Linux

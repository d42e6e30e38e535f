// LinuxDevice: the backend of a machine that runs NetworkManager, ModemManager, UPower and logind. It creates the
// abilities of the table below. Each ability is registered while its daemon runs and has the hardware for it. Changes
// of screen, battery and connectivity are published as common events. LinuxDevice also provides ShareControl,
// StationControl and NetworkMonitor for this machine.
//   3299 common events: always; from NetworkManager, UPower and logind
//   1120 Wi-Fi device, 1121 Wi-Fi hotspot: while NetworkManager has a radio for it
//   4010 telephony, 4011 mobile data: while ModemManager has a modem
// The host creates one LinuxDevice. Any thread may use it. docs/linux.md says which value is read from which daemon.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "backends/linux/bus.h"
#include "backends/linux/connectivity.h"
#include "backends/linux/network_manager_wifi.h"
#include "backends/linux/network_monitor.h"
#include "backends/linux/power.h"
#include "backends/linux/presence.h"
#include "backends/linux/screen.h"
#include "backends/linux/telephony.h"
#include "platform/ability/iservice_registry.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/events/common_event_server.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Linux {

// How long LinuxDevice::Start waits for the state of every daemon. If a daemon starts later, it is used too.
inline constexpr std::chrono::seconds FIRST_REPORT_LIMIT{3};

struct LinuxDeviceOptions {
    std::shared_ptr<Bus> bus;  // the bus that the machine's daemons are on
    WifiOptions wifi;
    sptr<ISystemAbilityManager> registry;  // null: the registry of this process
    uint16_t dnsPort = 53;                 // the port of the name servers that CheckOnline queries
};

struct AbilityState {
    int32_t id;
    Presence presence;
};

class LinuxDevice : public NoCopyable {
public:
    // Returns the name and the version, such as "NetworkManager 1.42.4", if NetworkManager answers on the given bus.
    // The error says why this machine cannot use this backend. Blocks as long as AwaitVersion (daemon_version.h).
    [[nodiscard]] static Result<std::string> Probe(Bus& bus);

    // Creates the device, and blocks until the state of every daemon is known, at most FIRST_REPORT_LIMIT. Also
    // succeeds if no daemon runs.
    [[nodiscard]] static Result<std::unique_ptr<LinuxDevice>> Start(const LinuxDeviceOptions& options);
    // Calls Stop and removes the abilities from the registry.
    ~LinuxDevice();

    // Undoes this program's changes in NetworkManager and ends the subscriptions to the daemons. The abilities stay
    // registered but accept no new work. Blocks until the work on the device's strands has finished. A second call does
    // nothing.
    void Stop();

    // Changes the key of this program's own hotspot (LinuxWifiHotspot::ChangeKey).
    [[nodiscard]] Result<std::string> ChangeHotspotKey();

    // The next three functions return references that are valid until this object is destroyed. After Stop, the
    // referenced objects still answer queries.
    Wifi::ShareControl& Share() { return *wifi_->Hotspot(); }
    Wifi::StationControl& Station() { return *wifi_->Station(); }
    Network::NetworkMonitor& Network() { return *network_; }

    // Emits the D-Bus signal Requested (docs/linux.md). It tells desktop programs that another device asks to use this
    // device's hotspot. Does not block.
    void SignalShareRequest(const std::string& networkId, const std::string& deviceName);

    // Returns the state of every ability of this backend, ordered by id.
    std::vector<AbilityState> Abilities() const;

private:
    // The parts of this class that report a Presence (presence.h).
    enum Source : size_t { STATION, HOTSPOT, CONNECTIVITY, POWER, SCREEN, MODEMS, SOURCE_COUNT };

    struct Ability {
        int32_t id;
        sptr<IRemoteObject> object;
        std::vector<Source> sources;
        bool isAlwaysThere = false;
        Presence presence{};  // the value that was registered last; used on registrations_ and by the destructor
    };

    LinuxDevice(const LinuxDeviceOptions& options, sptr<ISystemAbilityManager> registry);

    PresenceChanged ReporterOf(Source source);
    void WaitForFirstReports();
    // The following functions run on registrations_ only.
    void Begin();
    void OnPresence(Source source, const Presence& presence);
    void RegisterAbilities();

    Presence PresenceOf(const Ability& ability) const;
    void Publish(EventFwk::Want want, int32_t code = 0);
    void PublishConnectivity(EventFwk::NetType type, EventFwk::NetConnState state);

    const LinuxDeviceOptions options_;
    const sptr<ISystemAbilityManager> registry_;
    const sptr<EventFwk::CommonEventServer> events_;

    mutable Mutex mutex_;
    CondVar reportReceived_;
    std::array<Presence, SOURCE_COUNT> presences_ GUARDED_BY(mutex_);
    std::array<bool, SOURCE_COUNT> hasReported_ GUARDED_BY(mutex_){};

    // True after Start. Changes of abilities are logged only then, because the caller of Start logs the initial state.
    std::atomic<bool> hasStarted_{false};

    Tasks::Strand registrations_;  // own synchronisation

    // Begin creates the following objects. Stop destroys connectivity_, power_ and screen_. No object is replaced.
    std::vector<Ability> abilities_;
    std::shared_ptr<Modems> modems_;
    sptr<LinuxCoreService> coreService_;
    std::unique_ptr<NetworkManagerWifi> wifi_;
    std::unique_ptr<LinuxNetworkMonitor> network_;
    std::unique_ptr<Connectivity> connectivity_;
    std::unique_ptr<Power> power_;
    std::unique_ptr<Screen> screen_;
    bool stopped_ = false;
};

}  // namespace Vexo::Linux
